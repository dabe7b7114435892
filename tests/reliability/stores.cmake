quillmate_test(tst_storefaults LABEL unit reliability SOURCES tst_storefaults.cpp LIBS quillmate_data)

# The seat the tests kill, starve of disk or start several times at once.
add_executable(store_child store_child.cpp)
target_link_libraries(store_child PRIVATE quillmate_data)
quillmate_warnings(store_child)
add_dependencies(tst_storefaults store_child)

if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  # Preloaded into store_child: kills it at a chosen write to a chosen file.
  add_library(crash_shim MODULE crash_shim.cpp)
  target_link_libraries(crash_shim PRIVATE ${CMAKE_DL_LIBS})
  quillmate_warnings(crash_shim TEST)
  add_dependencies(tst_storefaults crash_shim)
  target_compile_definitions(tst_storefaults PRIVATE QUILLMATE_CRASH_SHIM="$<TARGET_FILE:crash_shim>")
endif()
