# quillmate_test(NAME LABEL label... SOURCES ... LIBS ...)
# One QTest executable per behaviour group; CTest runs it with the given label (unit, gui, e2e).
function(quillmate_test name)
  cmake_parse_arguments(T "" "" "LABEL;SOURCES;LIBS;ENV" ${ARGN})
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE Qt6::Test ${T_LIBS})
  # Helpers shared by tests are included by their folder: "support/TestRoot.h".
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  quillmate_warnings(${name} TEST)
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES LABELS "${T_LABEL}" TIMEOUT 300
                       ENVIRONMENT "QT_QPA_PLATFORM=offscreen;LC_ALL=C.UTF-8;${T_ENV}")
endfunction()
