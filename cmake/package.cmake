# Installation: libraries, header, a relocatable CMake package (target tarnsql::tarnsql) and a pkg-config file. What a
# program needs to run is the component runtime, what its author needs besides is development.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tarnsql)
install(TARGETS tarnsql tarnsql_static EXPORT tarnsql
        RUNTIME COMPONENT runtime
        LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
        ARCHIVE COMPONENT development)
set(public_headers include/tarnsql.h include/tarnsql_ext.h include/tarnsql.hpp)
install(FILES ${public_headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(DIRECTORY include/tarnsql DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
if(WIN32)
  install(FILES ${PROJECT_BINARY_DIR}/src/tarnsql.def DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  if(TARNSQL_DLLTOOL)
    install(FILES ${PROJECT_BINARY_DIR}/src/tarnsql.lib DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  endif()
endif()
install(EXPORT tarnsql NAMESPACE tarnsql:: FILE tarnsql-targets.cmake DESTINATION ${package_dir} COMPONENT development)
configure_package_config_file(cmake/tarnsql-config.cmake.in tarnsql-config.cmake INSTALL_DESTINATION ${package_dir}
                              PATH_VARS CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file(tarnsql-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tarnsql-config.cmake ${CMAKE_CURRENT_BINARY_DIR}/tarnsql-config-version.cmake
        DESTINATION ${package_dir} COMPONENT development)

# The prefix in tarnsql.pc is relative to the file itself, so that the installed tree can be moved.
file(RELATIVE_PATH pc_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
set(pc_private_libs "-lstdc++ -lm -pthread") # of a program that is linked statically
if(WIN32)
  set(pc_private_libs "-lstdc++ -lws2_32")
endif()
configure_file(cmake/tarnsql.pc.in tarnsql.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tarnsql.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
