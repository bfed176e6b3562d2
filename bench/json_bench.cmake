pkg_check_modules(RAPIDJSON REQUIRED IMPORTED_TARGET RapidJSON)
find_package(simdjson REQUIRED)
target_link_libraries(json_bench PRIVATE PkgConfig::RAPIDJSON simdjson::simdjson)
# The peers' headers throw.
target_compile_options(json_bench PRIVATE -fexceptions)
