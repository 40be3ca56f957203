# The Foundation platform layer: how Objective-C++ sources (.mm) are compiled
# and what they link against.
#
# On Apple systems the layer uses the system frameworks (Foundation, AppKit,
# CoreFoundation) with Apple's clang. Elsewhere it builds against GNUstep's
# Foundation and AppKit with GCC's Objective-C++ (GNU runtime, libobjc from
# GCC); the flags come from gnustep-config. Either way the sources use manual
# reference counting (no ARC, no blocks).
#
# Provides:
#   tavrin_foundation            INTERFACE target: GNUstep/framework include
#                                directories, definitions and libraries
#   tavrin_use_foundation(<tgt>) marks every .mm source of <tgt> as
#                                Objective-C++ and links tavrin_foundation
#
# The .mm files are compiled as CXX sources with "-x objective-c++", so they
# get the project's C++ standard, warnings, visibility and sanitizer flags
# exactly like the .cpp files beside them.
include_guard(GLOBAL)

add_library(tavrin_foundation INTERFACE)

if(APPLE)
  find_library(TAVRIN_FOUNDATION_FRAMEWORK Foundation REQUIRED)
  find_library(TAVRIN_APPKIT_FRAMEWORK AppKit REQUIRED)
  find_library(TAVRIN_COREFOUNDATION_FRAMEWORK CoreFoundation REQUIRED)
  target_link_libraries(tavrin_foundation INTERFACE
    ${TAVRIN_FOUNDATION_FRAMEWORK} ${TAVRIN_APPKIT_FRAMEWORK} ${TAVRIN_COREFOUNDATION_FRAMEWORK})
  set_property(GLOBAL PROPERTY TAVRIN_OBJCXX_OPTIONS -x objective-c++ -fno-objc-arc)
else()
  find_program(TAVRIN_GNUSTEP_CONFIG gnustep-config)
  if(NOT TAVRIN_GNUSTEP_CONFIG)
    message(FATAL_ERROR
      "TAVRIN_PLATFORM=foundation needs GNUstep on this system: install gobjc++, "
      "libgnustep-base-dev and libgnustep-gui-dev (gnustep-config was not found)")
  endif()
  execute_process(COMMAND ${TAVRIN_GNUSTEP_CONFIG} --objc-flags
    OUTPUT_VARIABLE _gs_cflags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND ${TAVRIN_GNUSTEP_CONFIG} --gui-libs
    OUTPUT_VARIABLE _gs_libs OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  separate_arguments(_gs_cflags UNIX_COMMAND "${_gs_cflags}")
  separate_arguments(_gs_libs UNIX_COMMAND "${_gs_libs}")

  # gnustep-config speaks for a gnustep-make build: keep what the runtime and
  # headers need (definitions, include folders, exception and constant-string
  # options), drop what the build type and the project decide (optimisation,
  # debug info, warnings, dependency files, "-I.").
  set(_gs_includes "")
  set(_gs_defines "")
  set(_gs_options "")
  foreach(flag IN LISTS _gs_cflags)
    if(flag MATCHES "^-I(.+)$")
      if(NOT CMAKE_MATCH_1 STREQUAL "." AND IS_DIRECTORY "${CMAKE_MATCH_1}")
        list(APPEND _gs_includes "${CMAKE_MATCH_1}")
      endif()
    elseif(flag MATCHES "^-D(.+)$")
      list(APPEND _gs_defines "${CMAKE_MATCH_1}")
    elseif(flag MATCHES "^-f(objc-exceptions|constant-string-class=.*|exceptions|no-strict-aliasing)$")
      list(APPEND _gs_options "${flag}")
    endif()
  endforeach()
  list(REMOVE_DUPLICATES _gs_defines)
  list(REMOVE_DUPLICATES _gs_includes)

  set(_gs_link_dirs "")
  set(_gs_link_libs "")
  foreach(flag IN LISTS _gs_libs)
    if(flag MATCHES "^-L(.+)$")
      if(IS_DIRECTORY "${CMAKE_MATCH_1}")
        list(APPEND _gs_link_dirs "${CMAKE_MATCH_1}")
      endif()
    elseif(flag MATCHES "^-l(.+)$")
      list(APPEND _gs_link_libs "${CMAKE_MATCH_1}")
    endif()
  endforeach()
  # Plain names: libobjc lives in the compiler's own library folder, which
  # the driver searches and find_library does not.
  target_link_directories(tavrin_foundation INTERFACE ${_gs_link_dirs})
  target_link_libraries(tavrin_foundation INTERFACE ${_gs_link_libs})

  # GNUstep's headers are system headers here: their own warnings are not
  # this project's to fix.
  target_include_directories(tavrin_foundation SYSTEM INTERFACE ${_gs_includes})
  target_compile_definitions(tavrin_foundation INTERFACE ${_gs_defines})
  set_property(GLOBAL PROPERTY TAVRIN_OBJCXX_OPTIONS -x objective-c++ ${_gs_options})
  message(STATUS "Foundation layer: GNUstep (${TAVRIN_GNUSTEP_CONFIG}), libraries ${_gs_link_libs}")
endif()

function(tavrin_use_foundation target)
  get_property(_options GLOBAL PROPERTY TAVRIN_OBJCXX_OPTIONS)
  get_target_property(_sources ${target} SOURCES)
  foreach(src IN LISTS _sources)
    if(src MATCHES "\\.mm$")
      set_source_files_properties(${src} PROPERTIES
        LANGUAGE CXX
        COMPILE_OPTIONS "${_options}")
    endif()
  endforeach()
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:tavrin_foundation>)
endfunction()
