# Read by ctest behind the list of the tests. They load the machine, and what they find depends on
# how it is shared, so nothing runs beside them.
set_tests_properties(${kills-tests_TESTS} PROPERTIES LABELS kills RUN_SERIAL ON TIMEOUT 900)
