# GoogleTest programs, one CTest entry for each test in them.
find_package(GTest REQUIRED)
include(GoogleTest)

# trovik_test(NAME tests_model SOURCES ... LINK ... [LABELS ...] [TIMEOUT seconds])
# A test that skips itself (GTEST_SKIP) is counted by CTest as skipped. Tests mostly wait:
# each takes one of the places that scripts/check_tests gives, or two with an X server.
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
    PROPERTIES TIMEOUT ${T_TIMEOUT} SKIP_RETURN_CODE 125 LABELS "${T_LABELS}" ${T_PROPERTIES})
endfunction()
