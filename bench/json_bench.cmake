find_package(RapidJSON REQUIRED)
find_package(simdjson REQUIRED)
target_include_directories(json_bench SYSTEM PRIVATE ${RAPIDJSON_INCLUDE_DIRS})
target_link_libraries(json_bench PRIVATE simdjson::simdjson)
# The peers' headers throw.
target_compile_options(json_bench PRIVATE -fexceptions)
