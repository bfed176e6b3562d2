# The same steps as processes, which bench/installer.sh compares with commands.
add_executable(installer_steps bench/installer_steps.cpp)
target_link_libraries(installer_steps PRIVATE ruvo_core)
