# Run by CPack between installation and packing: takes the debug information out of static libraries, which
# installation does not strip.
file(GLOB_RECURSE archives ${CPACK_TEMPORARY_DIRECTORY}/*.a)
foreach(archive IN LISTS archives)
  execute_process(COMMAND ${CPACK_TARNSQL_STRIP} --strip-debug --enable-deterministic-archives ${archive}
                  COMMAND_ERROR_IS_FATAL ANY)
endforeach()
