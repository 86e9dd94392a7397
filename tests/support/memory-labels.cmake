# Read by ctest behind the list of a folder's tests: those that let memory run out have a label of
# their own beside the folder's.
foreach(entry common-tests:common recordstore-tests:recordstore catalogue-seams-tests:seams)
  string(REGEX MATCH "^(.*):(.*)$" matched ${entry})
  set(label ${CMAKE_MATCH_2})
  foreach(test IN LISTS ${CMAKE_MATCH_1}_TESTS)
    if(test MATCHES "(OutOfMemory|RecordStoreMemory|ListWithoutMemory|RunsOutOfMemory)")
      set_tests_properties(${test} PROPERTIES LABELS "${label};memory")
    endif()
  endforeach()
endforeach()
