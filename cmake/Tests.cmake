# GoogleTest programs, one CTest entry for each test in them.
find_package(GTest REQUIRED)
include(GoogleTest)

# trovik_test(NAME tests_model SOURCES ... LINK ... [LABELS ...] [TIMEOUT seconds])
# A test that skips itself (GTEST_SKIP) is counted by CTest as skipped. Two of these
# run at once in the six places that scripts/check_tests gives. Tests of the window
# mostly wait: one place each, or two with an X server.
function(trovik_test)
  cmake_parse_arguments(T "" "NAME;TIMEOUT" "SOURCES;LINK;LABELS;PROPERTIES" ${ARGN})
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 120)
  endif()
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE trovik_warnings ${T_LINK} GTest::gtest_main)
  gtest_discover_tests(${T_NAME}
    TEST_PREFIX ${T_NAME}.
    DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT ${T_TIMEOUT} SKIP_RETURN_CODE 125 PROCESSORS 3 LABELS "${T_LABELS}" ${T_PROPERTIES})
endfunction()
