# What a host builds and runs against: both libraries, the headers, and where to find them, for CMake
# and for pkg-config.

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/quendril)

set(libraries quendril)
set(foundation_headers ${QUENDRIL_BASE}/foundation)
if(NOT QUENDRIL_BASE)
  list(APPEND libraries quendril-base)
  set(foundation_headers ${PROJECT_SOURCE_DIR}/foundation)
endif()
install(TARGETS ${libraries} EXPORT quendrilTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/quendril)
install(EXPORT quendrilTargets NAMESPACE quendril:: DESTINATION ${package_dir})

# The form of the includes stays: #include "catalogue/ContainerInfoList.h".
foreach(layer ${foundation_headers} ${PROJECT_SOURCE_DIR}/recordstore ${PROJECT_SOURCE_DIR}/catalogue
        ${PROJECT_SOURCE_DIR}/common)
  install(DIRECTORY ${layer}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/quendril
    FILES_MATCHING PATTERN "*.h"
    PATTERN embedded EXCLUDE
    PATTERN BlobReader.h EXCLUDE
    PATTERN CContainerPathCompare.h EXCLUDE
    PATTERN EditedRecords.h EXCLUDE
    PATTERN FileReplacement.h EXCLUDE
    PATTERN LockedRecordFile.h EXCLUDE
    PATTERN NormalisedPath.h EXCLUDE
    PATTERN PathIndex.h EXCLUDE
    PATTERN RecordEncoding.h EXCLUDE
    PATTERN RecordMerge.h EXCLUDE
    PATTERN RecordRepair.h EXCLUDE
    PATTERN RecordShift.h EXCLUDE
    PATTERN RunningEdit.h EXCLUDE
    PATTERN ScanAgain.h EXCLUDE)
endforeach()

# gdb loads by itself what stands under the library's own name there, whatever the prefix is in the end.
install(CODE "file(INSTALL
  DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_DATADIR}/gdb/auto-load\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}\"
  TYPE FILE RENAME \"$<TARGET_FILE_NAME:quendril>-gdb.py\"
  FILES \"${PROJECT_SOURCE_DIR}/gdb/quendril-gdb.py\")")

configure_package_config_file(cmake/quendrilConfig.cmake.in quendrilConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(quendrilConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/quendrilConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/quendrilConfigVersion.cmake
  DESTINATION ${package_dir})

# Found from where the file is, so that the installed tree can be moved.
file(RELATIVE_PATH prefix_from_pkgconfig
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
foreach(library ${libraries})
  configure_file(cmake/${library}.pc.in ${library}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${library}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

foreach(page quendril.3 cont_info.dat.5 quendril.7)
  string(REGEX MATCH "[0-9]$" section ${page})
  install(FILES docs/man/${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
endforeach()
