# One libFuzzer target a reader of outside bytes: fuzz/NAME_fuzz.cpp, seeds in fuzz/corpus/NAME/.
file(GLOB fuzz_sources CONFIGURE_DEPENDS fuzz/*_fuzz.cpp)
foreach(source ${fuzz_sources})
  get_filename_component(name ${source} NAME_WE)
  add_executable(${name} ${source})
  target_link_libraries(${name} PRIVATE ruvo_core)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
endforeach()
