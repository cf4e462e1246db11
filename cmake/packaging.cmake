# Packaging: the tools, the Python module, the documentation of each package, and CPack's settings for Debian packages
# (libtarnsql1, libtarnsql-dev, tarnsql-tools, python3-tarnsql) and for archives of everything (tar.gz, zip). scripts/package.sh
# makes them. The version is in the project, the header and the two changelogs; here it is checked that they agree.
file(STRINGS include/tarnsql.h lines REGEX "^#define TRN_VERSION")
if(NOT lines STREQUAL "#define TRN_VERSION_MAJOR ${PROJECT_VERSION_MAJOR};#define TRN_VERSION_MINOR ${PROJECT_VERSION_MINOR};\
#define TRN_VERSION_PATCH ${PROJECT_VERSION_PATCH};#define TRN_VERSION \"${PROJECT_VERSION}\"")
  message(FATAL_ERROR "include/tarnsql.h is not of version ${PROJECT_VERSION}:\n${lines}")
endif()
set(module ${PROJECT_SOURCE_DIR}/bindings/python)
file(STRINGS ${module}/src/tarnsql/__init__.py lines REGEX "^__version__ = ")
if(NOT lines STREQUAL "__version__ = \"${PROJECT_VERSION}\"")
  message(FATAL_ERROR "bindings/python/src/tarnsql/__init__.py is not of version ${PROJECT_VERSION}: ${lines}")
endif()
file(STRINGS bindings/csharp/src/AssemblyInfo.cs lines REGEX "AssemblyVersion")
if(NOT lines STREQUAL "[assembly: AssemblyVersion(\"${PROJECT_VERSION}.0\")]")
  message(FATAL_ERROR "bindings/csharp/src/AssemblyInfo.cs is not of version ${PROJECT_VERSION}: ${lines}")
endif()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS include/tarnsql.h CHANGELOG.md packaging/debian/changelog)
if(NOT PROJECT_IS_TOP_LEVEL)
  return()
endif()
include(cmake/pages.cmake)

file(STRINGS CHANGELOG.md changes REGEX "^## " LIMIT_COUNT 1)
file(STRINGS packaging/debian/changelog debian_changes REGEX "^tarnsql " LIMIT_COUNT 1)
string(REPLACE "." "\\." version_pattern ${PROJECT_VERSION})
if(NOT changes MATCHES "^## ${version_pattern}( |$)" OR NOT debian_changes MATCHES "^tarnsql \\(${version_pattern}-([0-9]+)\\) ")
  message(FATAL_ERROR "CHANGELOG.md and packaging/debian/changelog do not begin with version ${PROJECT_VERSION}")
endif()
set(CPACK_DEBIAN_PACKAGE_RELEASE ${CMAKE_MATCH_1})

# On Debian programs find the library without an rpath, and each package has its own documentation directory.
option(TARNSQL_DEBIAN "Lay out what is installed as Debian packages have it (with CMAKE_INSTALL_PREFIX=/usr)" OFF)

if(TARNSQL_BUILD_TOOLS)
  set(tools tarnsh)
  if(TARGET tarnlite)
    list(APPEND tools tarnlite)
  endif()
  install(TARGETS ${tools} RUNTIME COMPONENT tools)
  if(NOT TARNSQL_DEBIAN AND NOT WIN32)
    file(RELATIVE_PATH libraries /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})
    set_target_properties(tarnsh PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries}")
  endif()
endif()

# The Python module goes into a Debian package only; for all others there is the wheel.
set(components runtime development tools)
if(TARNSQL_DEBIAN AND TARGET tarnsql_python_core)
  list(APPEND components python)
  set(python_packages lib/python3/dist-packages)
  install(DIRECTORY ${module}/src/tarnsql DESTINATION ${python_packages} COMPONENT python PATTERN __pycache__ EXCLUDE)
  install(TARGETS tarnsql_python_core LIBRARY DESTINATION ${python_packages}/tarnsql COMPONENT python)
endif()

set(runtime_package libtarnsql${PROJECT_VERSION_MAJOR})
set(development_package libtarnsql-dev)
set(tools_package tarnsql-tools)
set(python_package python3-tarnsql)
if(TARNSQL_DEBIAN)
  find_program(TARNSQL_GZIP gzip REQUIRED)
  set(packed ${CMAKE_CURRENT_BINARY_DIR}/debian)
  file(MAKE_DIRECTORY ${packed})
  execute_process(COMMAND ${TARNSQL_GZIP} -9nc ${PROJECT_SOURCE_DIR}/CHANGELOG.md
                  OUTPUT_FILE ${packed}/changelog.gz COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND ${TARNSQL_GZIP} -9nc ${PROJECT_SOURCE_DIR}/packaging/debian/changelog
                  OUTPUT_FILE ${packed}/changelog.Debian.gz COMMAND_ERROR_IS_FATAL ANY)
  foreach(component IN LISTS components)
    set(${component}_texts ${CMAKE_INSTALL_DATAROOTDIR}/doc/${${component}_package})
    install(FILES packaging/debian/copyright ${packed}/changelog.gz ${packed}/changelog.Debian.gz
            DESTINATION ${${component}_texts} COMPONENT ${component})
  endforeach()
else()
  foreach(component IN LISTS components)
    set(${component}_texts ${CMAKE_INSTALL_DATAROOTDIR}/doc/tarnsql)
  endforeach()
  foreach(text LICENSE NOTICE CHANGELOG.md)
    add_text(runtime ${runtime_texts} ${text})
  endforeach()
endif()

# Documentation for developers.
foreach(text IN LISTS public_headers)
  cmake_path(GET text FILENAME name)
  text_is_at(${text} ${CMAKE_INSTALL_INCLUDEDIR}/${name})
endforeach()
file(GLOB pages RELATIVE ${PROJECT_SOURCE_DIR} CONFIGURE_DEPENDS docs/guide/*.md)
file(GLOB examples RELATIVE ${PROJECT_SOURCE_DIR} CONFIGURE_DEPENDS examples/*.c examples/*.cpp examples/*.h)
file(GLOB csharp RELATIVE ${PROJECT_SOURCE_DIR} CONFIGURE_DEPENDS bindings/csharp/src/* bindings/csharp/sample/*)
foreach(text README.md docs/reliability.md docs/performance.md ${pages} ${examples} ${csharp})
  cmake_path(GET text PARENT_PATH directory)
  add_text(development ${development_texts}/${directory} ${text})
endforeach()
if("python" IN_LIST components)
  add_text(python ${python_texts} bindings/python/README.md)
else()
  add_text(development ${development_texts} bindings/python/README.md python.md)
endif()
if(WIN32 AND TARGET tarnsh)
  # Copyright and licences of the libraries inside the programs.
  set(inside libcli11-dev libfmt-dev)
  if(TARGET tarnlite)
    list(APPEND inside libgcrypt-mingw-w64-dev libgpg-error-mingw-w64-dev)
    install(FILES /usr/share/common-licenses/LGPL-2.1 DESTINATION ${tools_texts} COMPONENT tools)
  endif()
  foreach(package IN LISTS inside)
    string(REGEX REPLACE "(-mingw-w64)?-dev$" "-copyright" notice ${package})
    install(FILES /usr/share/doc/${package}/copyright DESTINATION ${tools_texts} RENAME ${notice} COMPONENT tools)
  endforeach()
endif()
if(TARGET tarnsh)
  add_text(tools ${tools_texts} tools/tarnsh/FEATURES.md)
  if(NOT WIN32)
    install(FILES packaging/completion/tarnsh DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
            COMPONENT tools)
  endif()
endif()
foreach(tool IN LISTS tools)
  add_text(tools ${tools_texts} tools/${tool}/README.md ${tool}.md)
  if(WIN32)
    continue()
  endif()
  set(man_page ${PROJECT_SOURCE_DIR}/docs/man/${tool}.1)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${man_page})
  if(TARNSQL_DEBIAN)
    execute_process(COMMAND ${TARNSQL_GZIP} -9nc ${man_page}
                    OUTPUT_FILE ${packed}/${tool}.1.gz COMMAND_ERROR_IS_FATAL ANY)
    set(man_page ${packed}/${tool}.1.gz)
  endif()
  install(FILES ${man_page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
endforeach()

install_texts()

# Which version of the library a program needs, by the names it calls: a name in exports.txt below a line
# "# Since VERSION" came with that version.
set(since 1.0.0)
set(library libtarnsql.so.${PROJECT_VERSION_MAJOR})
set(symbols "${library} ${runtime_package} #MINVER#\n TARNSQL_1@TARNSQL_1 1.0.0\n")
file(STRINGS src/exports.txt lines)
foreach(line IN LISTS lines)
  if(line MATCHES "^# Since ([0-9.]+)")
    set(since ${CMAKE_MATCH_1})
  elseif(line MATCHES "^[A-Za-z]")
    string(APPEND symbols " ${line}@TARNSQL_1 ${since}\n")
  endif()
endforeach()
set(control ${CMAKE_CURRENT_BINARY_DIR}/control)
file(CONFIGURE OUTPUT ${control}/symbols CONTENT "@symbols@" @ONLY)
file(CONFIGURE OUTPUT ${control}/shlibs @ONLY
     CONTENT "libtarnsql @PROJECT_VERSION_MAJOR@ @runtime_package@ (>= @PROJECT_VERSION@)\n")
file(CONFIGURE OUTPUT ${control}/triggers CONTENT "activate-noawait ldconfig\n")

set(CPACK_PACKAGE_NAME tarnsql)
set(CPACK_PACKAGE_VENDOR "The tarnsql authors")
set(CPACK_PACKAGE_CONTACT "The tarnsql authors <authors@tarnsql.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each Debian package has its own
string(TOLOWER ${CMAKE_SYSTEM_NAME} system)
set(CPACK_PACKAGE_FILE_NAME tarnsql-${PROJECT_VERSION}-${system}-${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/strip_archives.cmake)
set(CPACK_TARNSQL_STRIP ${CMAKE_STRIP})
set(CPACK_COMPONENTS_ALL runtime development)
if(TARNSQL_BUILD_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
if("python" IN_LIST components)
  list(APPEND CPACK_COMPONENTS_ALL python)
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(debian_version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})

set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/without_ldconfig_scripts.cmake)
set(CPACK_TARNSQL_LIBRARY_PACKAGE ${runtime_package})

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${control}/symbols;${control}/shlibs;${control}/triggers")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "client driver of the TARNDBMS database server
tarnsql opens connections to TARNDBMS servers, runs SQL there and reads
results: parameters, prepared statements, batches, large objects, server
cursors and procedures, in one flat set of C functions.
.
This package contains the shared library.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${development_package})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${runtime_package} (= ${debian_version})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "client driver of the TARNDBMS database server (development files)
tarnsql opens connections to TARNDBMS servers, runs SQL there and reads
results.
.
This package contains the headers for C and C++, which document every
call, the static library, and what CMake and pkg-config need to find them.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME ${tools_package})
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION database)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${runtime_package} (>= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_CURRENT_BINARY_DIR}/src)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "SQL shell and development server of TARNDBMS
tarnsh runs SQL on a TARNDBMS server, for a person at a terminal and for
scripts, and copies tables from and to CSV files.
.
tarnlite is a server with SQLite inside that speaks the same protocol, for
developing and testing applications.")

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME ${python_package})
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS ON)
# The core calls the library that the module loads by name, which shlibdeps cannot see.
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.9), ${runtime_package} (>= ${PROJECT_VERSION})")
foreach(script postinst prerm)
  configure_file(packaging/debian/python3-tarnsql.${script} ${control}/python/${script} COPYONLY
                 FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
endforeach()
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA "${control}/python/postinst;${control}/python/prerm")
set(CPACK_DEBIAN_PYTHON_DESCRIPTION "client driver of the TARNDBMS database server (Python 3 module)
tarnsql opens connections to TARNDBMS servers, runs SQL there and reads
results, through the Python database API 2.0 (PEP 249).
.
This package contains the module with its compiled core.")

include(CPack)
