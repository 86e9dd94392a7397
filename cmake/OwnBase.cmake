# A host's own base library in the place of the embedded one.

set(QUENDRIL_BASE "" CACHE PATH
  "Folder with a host's own foundation/*.h; empty for the embedded base. See docs/your-own-base.md")

# quendril_own_base(TARGET FOLDER): the target is compiled against the headers in the folder, which has
# all that the embedded base has: one that were missing would be taken from there unnoticed.
function(quendril_own_base target folder)
  file(GLOB headers RELATIVE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/foundation/*.h)
  foreach(header ${headers})
    if(NOT EXISTS ${folder}/${header})
      message(FATAL_ERROR "The base library's folder ${folder} has no ${header}")
    endif()
  endforeach()
  target_include_directories(${target} BEFORE PUBLIC $<BUILD_INTERFACE:${folder}>)
endfunction()
