# Included by ctest, which has set `program`, `seconds` and `labels`: each suite of a GoogleTest
# program is a test, whose cases run one after the other in one process.
if(NOT EXISTS "${program}")
    cmake_path(GET program FILENAME name)
    add_test("${name}_is_not_built" "${program}")
    return()
endif()
execute_process(COMMAND "${program}" --gtest_list_tests
    OUTPUT_VARIABLE list RESULT_VARIABLE status TIMEOUT 60)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "${program} does not list its tests: ${status}\n${list}")
endif()
# A suite stands at the beginning of a line and ends with a dot; its cases are indented.
string(REGEX MATCHALL "(^|\n)[A-Za-z0-9_/]+\\." suites "${list}")
foreach(suite IN LISTS suites)
    string(REGEX REPLACE "[\n.]" "" suite "${suite}")
    add_test("${suite}" "${program}" --gtest_brief=1 "--gtest_filter=${suite}.*")
    set_tests_properties("${suite}" PROPERTIES TIMEOUT "${seconds}" LABELS "${labels}")
endforeach()
