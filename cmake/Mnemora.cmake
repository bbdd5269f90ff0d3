# Shared helpers for the subsystem libraries and their tests.

# mnemora_qt_target(target): a target that uses Qt's meta-object system.
function(mnemora_qt_target target)
  set_target_properties(${target} PROPERTIES AUTOMOC ON)
endfunction()

# mnemora_add_test(name SOURCES ... LIBS ... [QT] [PURE] [BUNDLES] [EXECUTABLE] [FAKE_DAEMON]):
# one GoogleTest executable under ctest. Every test runs with its own temporary HOME and XDG
# roots (tests/support), except PURE ones, which touch neither Qt nor the disk's home.
#   QT          the test declares QObjects of its own (AUTOMOC)
#   BUNDLES     MNEMORA_BUNDLES_DIR is the folder of the three built bundles
#   EXECUTABLE  MNEMORA_EXECUTABLE is the path of the application executable
#   FAKE_DAEMON MNEMORA_FAKE_DAEMON is the path of the stand-in daemon executable
function(mnemora_add_test name)
  cmake_parse_arguments(T "QT;PURE;BUNDLES;EXECUTABLE;FAKE_DAEMON" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${T_SOURCES})
  if(T_PURE)
    target_link_libraries(${name} PRIVATE ${T_LIBS} GTest::gtest_main GTest::gmock)
  else()
    target_link_libraries(${name} PRIVATE ${T_LIBS} mnemora_test_support)
  endif()
  if(T_QT)
    mnemora_qt_target(${name})
  endif()
  if(T_BUNDLES)
    target_compile_definitions(${name} PRIVATE MNEMORA_BUNDLES_DIR="${CMAKE_BINARY_DIR}/bundles")
    add_dependencies(${name} bundles)
  endif()
  if(T_EXECUTABLE)
    target_compile_definitions(${name} PRIVATE MNEMORA_EXECUTABLE="$<TARGET_FILE:mnemora>")
    add_dependencies(${name} mnemora)
  endif()
  if(T_FAKE_DAEMON)
    target_compile_definitions(${name} PRIVATE MNEMORA_FAKE_DAEMON="$<TARGET_FILE:fake_daemon>")
    add_dependencies(${name} fake_daemon)
  endif()
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
endfunction()
