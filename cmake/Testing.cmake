# quillmate_test(NAME LABEL label... SOURCES ... LIBS ... [PYLIB] [EXE] [FIXTURES folder])
# One QTest executable per behaviour group; CTest runs it with the given label (unit, gui, e2e).
function(quillmate_test name)
  cmake_parse_arguments(T "PYLIB;EXE" "FIXTURES" "LABEL;SOURCES;LIBS;ENV" ${ARGN})
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE Qt6::Test ${T_LIBS})
  # Helpers shared by tests are included by their folder: "support/TestRoot.h".
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  quillmate_warnings(${name} TEST)
  quillmate_test_inputs(${name} ${ARGN})
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES LABELS "${T_LABEL}" TIMEOUT 300
                       ENVIRONMENT "QT_QPA_PLATFORM=offscreen;LC_ALL=C.UTF-8;${T_ENV}")
endfunction()

# What a test reads, as macros: QUILLMATE_FIXTURES, the folder FIXTURES names or else the test
# folder's own fixtures/; with PYLIB, QUILLMATE_PYLIB, the built pinyin table; with EXE,
# QUILLMATE_EXE, the built program. Each is built before the test.
function(quillmate_test_inputs name)
  cmake_parse_arguments(T "PYLIB;EXE" "FIXTURES" "LABEL;SOURCES;LIBS;ENV" ${ARGN})
  if(NOT T_FIXTURES AND EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/fixtures)
    set(T_FIXTURES ${CMAKE_CURRENT_SOURCE_DIR}/fixtures)
  endif()
  if(T_FIXTURES)
    target_compile_definitions(${name} PRIVATE QUILLMATE_FIXTURES="${T_FIXTURES}")
  endif()
  if(T_PYLIB)
    add_dependencies(${name} pylib)
    target_compile_definitions(${name} PRIVATE QUILLMATE_PYLIB="${QUILLMATE_PYLIB_FILE}")
  endif()
  if(T_EXE)
    add_dependencies(${name} quillmate)
    target_compile_definitions(${name} PRIVATE QUILLMATE_EXE="$<TARGET_FILE:quillmate>")
  endif()
endfunction()

# Runs test NAME a second time as NAME_server, with the shared store on a PostgreSQL server that
# TestRoot starts (tests/support/TestRoot.h), so one suite checks both engines. Where no server
# can start, the run ends with 77 and CTest shows it as skipped, with the reason in its output.
function(quillmate_server_variant name)
  get_test_property(${name} LABELS labels)
  add_test(NAME ${name}_server COMMAND ${name})
  set_tests_properties(${name}_server PROPERTIES LABELS "${labels}" TIMEOUT 300
                       ENVIRONMENT "QT_QPA_PLATFORM=offscreen;LC_ALL=C.UTF-8;QUILLMATE_TEST_STORE=server"
                       SKIP_RETURN_CODE 77)
endfunction()
