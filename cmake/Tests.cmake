# SPDX-License-Identifier: GPL-3.0-or-later
# GoogleTest programs, one CTest entry for each test in them.
find_package(GTest REQUIRED)
include(GoogleTest)

# trovik_test(NAME tests_model SOURCES ... LINK ... [LABELS ...] [TIMEOUT seconds]
#             [LONG_SANITIZED suite.test:...])
# A test that skips itself (GTEST_SKIP) is counted by CTest as skipped. Tests mostly wait:
# each takes one of the places that scripts/check_tests gives, or two with an X server.
# LONG_SANITIZED: minutes under a sanitizer, which sees the same code in shorter tests; there
# these tests are labelled long.
function(trovik_test)
  cmake_parse_arguments(T "" "NAME;TIMEOUT;LONG_SANITIZED" "SOURCES;LINK;LABELS;PROPERTIES" ${ARGN})
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 120)
  endif()
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE trovik_warnings ${T_LINK} GTest::gtest_main)
  set(settings TIMEOUT ${T_TIMEOUT} SKIP_RETURN_CODE 125 ${T_PROPERTIES})
  set(filter)
  if(TROVIK_SANITIZE AND T_LONG_SANITIZED)
    set(filter TEST_FILTER "-${T_LONG_SANITIZED}")
    gtest_discover_tests(${T_NAME}
      TEST_PREFIX ${T_NAME}.
      TEST_FILTER "${T_LONG_SANITIZED}"
      DISCOVERY_TIMEOUT 60
      PROPERTIES ${settings} LABELS long)
  endif()
  gtest_discover_tests(${T_NAME}
    TEST_PREFIX ${T_NAME}.
    ${filter}
    DISCOVERY_TIMEOUT 60
    PROPERTIES ${settings} LABELS "${T_LABELS}")
endfunction()
