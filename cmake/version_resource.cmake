# The version resource that Windows shows for a file. Does nothing elsewhere, nor for a target that is not built.
function(tarnsql_version_resource target file description)
  if(NOT WIN32 OR NOT TARGET ${target})
    return()
  endif()
  set(resource ${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${resource} @ONLY)
  target_sources(${target} PRIVATE ${resource})
endfunction()
