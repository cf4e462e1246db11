# Builds PROGRAM with a plain C compiler and the flags that pkg-config finds in TREE, and runs it.
set(ENV{PKG_CONFIG_PATH})
set(ENV{PKG_CONFIG_LIBDIR} ${TREE}/${LIBDIR}/pkgconfig)
file(MAKE_DIRECTORY ${WORK})

function(pkg_config result)
  execute_process(COMMAND ${PKG_CONFIG} ${ARGN} tarnsql
                  OUTPUT_VARIABLE output OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  separate_arguments(output UNIX_COMMAND "${output}")
  set(${result} ${output} PARENT_SCOPE)
endfunction()

pkg_config(version --modversion)
if(NOT version STREQUAL VERSION)
  message(FATAL_ERROR "pkg-config tells version ${version}, not ${VERSION}")
endif()
pkg_config(cflags --cflags)

function(build_and_run name)
  execute_process(COMMAND ${COMPILER} ${FLAGS} -std=c99 ${cflags} ${PROGRAM} -o ${WORK}/${name}.exe ${ARGN}
                  COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND ${EMULATOR} ${WORK}/${name}.exe COMMAND_ERROR_IS_FATAL ANY)
endfunction()

if(EMULATOR)
  file(COPY ${TREE}/${BINDIR}/tarnsql.dll DESTINATION ${WORK})
else()
  set(ENV{LD_LIBRARY_PATH} ${TREE}/${LIBDIR})
endif()
pkg_config(libs --libs)
build_and_run(shared ${libs})

if(FLAGS) # a sanitizer's runtime cannot be linked statically
  message(STATUS "not linked statically: ${FLAGS}")
else()
  pkg_config(libs --static --libs)
  build_and_run(static -DTARNSQL_STATIC -static ${libs})
endif()
