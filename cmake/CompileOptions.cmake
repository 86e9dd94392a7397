# How everything of ours is compiled.

set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(QUENDRIL_SANITIZE "" CACHE STRING "Sanitizers to build with, e.g. address,undefined or thread")

if(QUENDRIL_SANITIZE)
  add_compile_options(-fsanitize=${QUENDRIL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${QUENDRIL_SANITIZE})
endif()

# Warnings are errors in our own builds, not in those of a host that includes the project.
function(quendril_compile_options target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
  if(PROJECT_IS_TOP_LEVEL)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# Hidden visibility, a version script that names what is exported, and the shared library's version.
function(quendril_shared_library target map)
  set(map_file ${PROJECT_SOURCE_DIR}/cmake/${map})
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    LINK_DEPENDS ${map_file})
  target_link_options(${target} PRIVATE -Wl,--version-script=${map_file} -Wl,--as-needed)
endfunction()
