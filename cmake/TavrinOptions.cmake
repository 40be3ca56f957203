# Compiler flags shared by every target of the project (library, tools, tests, benchmarks).
add_library(tavrin_project_options INTERFACE)
target_compile_options(tavrin_project_options INTERFACE
  $<$<COMPILE_LANG_AND_ID:CXX,GNU,Clang,AppleClang>:-Wall -Wextra -Wpedantic -Wno-unused-parameter>
  $<$<BOOL:${TAVRIN_WARNINGS_AS_ERRORS}>:-Werror>)

if(TAVRIN_SANITIZE)
  target_compile_options(tavrin_project_options INTERFACE
    -fsanitize=${TAVRIN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(tavrin_project_options INTERFACE -fsanitize=${TAVRIN_SANITIZE})
endif()
