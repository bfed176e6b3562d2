# Programs that tests/e2e drives besides ruvo itself.
add_executable(fetch tests/e2e/fetch.cpp)
target_link_libraries(fetch PRIVATE xp)
