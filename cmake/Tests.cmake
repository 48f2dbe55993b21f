# ordwick_test(NAME SOURCES file... LINK library... [DISPLAY] [SUITES] [LABELS label...])
#
# One test program of GoogleTest cases, each case a test of its own in ctest. SUITES makes each suite
# one: for cases that are over sooner than the program has started. DISPLAY gives every case an X
# server and a window manager of its own, so that cases run in parallel without taking each other's
# keyboard focus. The label "threads" is for what is worth the thread sanitizer.
include(GoogleTest)

function(ordwick_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "DISPLAY;SUITES" "" "SOURCES;LINK;LABELS")
    add_executable(${name} ${arg_SOURCES})
    target_precompile_headers(${name} PRIVATE <gtest/gtest.h> <filesystem>)
    target_link_libraries(${name} PRIVATE ${arg_LINK} GTest::gtest)
    if(arg_DISPLAY)
        set_target_properties(${name} PROPERTIES
            CROSSCOMPILING_EMULATOR ${PROJECT_SOURCE_DIR}/tests/support/with-display)
        target_link_libraries(${name} PRIVATE window_test_main)
        target_precompile_headers(${name} PRIVATE ${WX_HEADERS})
    else()
        target_link_libraries(${name} PRIVATE GTest::gtest_main)
    endif()
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
    if("threads" IN_LIST arg_LABELS)
        add_dependencies(thread_tests ${name})
    endif()
    # What hangs ends by this. Under a sanitizer the longest suite takes two minutes by itself, and more than
    # twice that beside browsers.
    set(seconds 240)
    if(ORDWICK_SANITIZE)
        set(seconds 900)
    endif()
    if(arg_SUITES)
        set(file ${CMAKE_CURRENT_BINARY_DIR}/${name}_suites.cmake)
        file(GENERATE OUTPUT ${file} CONTENT
            "set(program \"$<TARGET_FILE:${name}>\")
set(seconds ${seconds})
set(labels \"${arg_LABELS}\")
include(\"${PROJECT_SOURCE_DIR}/cmake/AddSuites.cmake\")
")
        set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${file})
        return()
    endif()
    gtest_discover_tests(${name}
        DISCOVERY_MODE PRE_TEST
        DISCOVERY_TIMEOUT 60
        PROPERTIES TIMEOUT ${seconds} LABELS "${arg_LABELS}")
endfunction()
