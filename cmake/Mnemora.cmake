# Shared helpers for the subsystem libraries and their tests.

# mnemora_qt_target(target): a target that uses Qt's meta-object system.
function(mnemora_qt_target target)
  set_target_properties(${target} PROPERTIES AUTOMOC ON)
endfunction()

# mnemora_add_test(name SOURCES ... LIBS ...): one GoogleTest executable under ctest.
# Every test runs with its own temporary HOME and XDG roots (see tests/support).
function(mnemora_add_test name)
  cmake_parse_arguments(T "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE ${T_LIBS} GTest::gtest GTest::gmock)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
endfunction()
