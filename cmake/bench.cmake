# One Google Benchmark program a subject: bench/NAME_bench.cpp. A peer library that only one
# program needs is looked up here and linked to that program alone.
find_package(benchmark REQUIRED)
file(GLOB bench_sources CONFIGURE_DEPENDS bench/*_bench.cpp)
foreach(source ${bench_sources})
  get_filename_component(name ${source} NAME_WE)
  add_executable(${name} ${source})
  target_link_libraries(${name} PRIVATE ruvo_core benchmark::benchmark benchmark::benchmark_main)
  if(EXISTS ${PROJECT_SOURCE_DIR}/bench/${name}.cmake)
    include(${PROJECT_SOURCE_DIR}/bench/${name}.cmake)
  endif()
endforeach()
