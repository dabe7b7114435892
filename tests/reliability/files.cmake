quillmate_test(tst_filefaults LABEL unit reliability SOURCES tst_filefaults.cpp
               LIBS quillmate_content quillmate_send quillmate_data)

# A child that writes the program's files under a file size limit: a disk that fills, for real,
# without root.
if(UNIX)
  add_executable(filefaults_writer filefaults_writer.cpp)
  target_link_libraries(filefaults_writer PRIVATE quillmate_content quillmate_send quillmate_data)
  quillmate_warnings(filefaults_writer TEST)
  add_dependencies(tst_filefaults filefaults_writer)
endif()
