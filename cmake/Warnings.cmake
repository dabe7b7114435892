# One warning policy for every target of the project.
function(quillmate_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                                           -Wold-style-cast -Wcast-align -Woverloaded-virtual)
  if(QUILLMATE_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  target_compile_definitions(${target} PRIVATE QT_NO_CAST_FROM_ASCII QT_NO_NARROWING_CONVERSIONS_IN_CONNECT)
endfunction()
