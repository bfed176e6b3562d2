# Small programs of tools/ that link the libraries.
add_executable(rollout EXCLUDE_FROM_ALL tools/rollout.cpp)
target_link_libraries(rollout PRIVATE ruvo_core)
