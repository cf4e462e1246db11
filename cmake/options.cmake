# Warnings and sanitizers, for every target of this project and for none that uses it.
add_library(tarnsql_warnings INTERFACE)
target_compile_options(tarnsql_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict> # g++ 12 sees overlapping copies inside std::string where there are none
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Wnon-virtual-dtor>
  $<$<BOOL:${TARNSQL_WERROR}>:-Werror>)

if(TARNSQL_SANITIZE)
  add_compile_options(-fsanitize=${TARNSQL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${TARNSQL_SANITIZE})
endif()
