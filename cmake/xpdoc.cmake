# xpdoc, the document tool: the runtime and nothing of the update client.
add_executable(xpdoc xpdoc/xpdoc.cpp)
target_link_libraries(xpdoc PRIVATE xp)
