# One warning policy for every target of the project. Production code may not turn a C string
# into a QString implicitly (the encoding must be explicit); tests may, to stay readable.
function(quillmate_warnings target)
  cmake_parse_arguments(W "TEST" "" "" ${ARGN})
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                                           -Wold-style-cast -Wcast-align -Woverloaded-virtual)
  if(QUILLMATE_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  target_compile_definitions(${target} PRIVATE QT_NO_NARROWING_CONVERSIONS_IN_CONNECT)
  if(NOT W_TEST)
    target_compile_definitions(${target} PRIVATE QT_NO_CAST_FROM_ASCII)
  endif()
endfunction()
