# The resources of the program file (Windows): manifest, version block, message table. The message
# compiler turns messages.mc into messages.rc and a binary, which program.rc includes.
find_program(WINDMC NAMES x86_64-w64-mingw32-windmc windmc REQUIRED)
set(resources ${PROJECT_SOURCE_DIR}/platform/windows/resources)
set(resources_out ${CMAKE_BINARY_DIR}/resources)
file(MAKE_DIRECTORY ${resources_out})
add_custom_command(
  OUTPUT ${resources_out}/messages.rc ${resources_out}/messages.h ${resources_out}/MSG00409.bin
  COMMAND ${WINDMC} -h ${resources_out} -r ${resources_out} ${resources}/messages.mc
  DEPENDS ${resources}/messages.mc
  VERBATIM)
set_source_files_properties(${resources}/program.rc PROPERTIES
  INCLUDE_DIRECTORIES "${resources};${resources_out}"
  OBJECT_DEPENDS "${resources}/application.manifest;${resources_out}/messages.rc")
target_sources(ruvo PRIVATE ${resources}/program.rc ${resources_out}/messages.rc)
set_source_files_properties(${resources_out}/messages.rc PROPERTIES HEADER_FILE_ONLY ON)

# Tells the full exit code of a program under Wine; a tool of the tests.
add_executable(winlaunch tools/winlaunch.cpp)
