quillmate_test(tst_maintenancefaults LABEL unit reliability SOURCES tst_maintenancefaults.cpp
               LIBS quillmate_data EXE)

# The seat that writes during a backup and is killed during a compaction.
add_executable(maintenance_child maintenance_child.cpp)
target_link_libraries(maintenance_child PRIVATE quillmate_data)
quillmate_warnings(maintenance_child)
add_dependencies(tst_maintenancefaults maintenance_child)
if(TARGET crash_shim)
  add_dependencies(tst_maintenancefaults crash_shim)
  target_compile_definitions(tst_maintenancefaults
                             PRIVATE QUILLMATE_CRASH_SHIM="$<TARGET_FILE:crash_shim>")
endif()
