# libcurl, without which the program measures ours alone.
find_package(CURL QUIET)
if(CURL_FOUND)
  target_link_libraries(http_bench PRIVATE CURL::libcurl)
  target_compile_definitions(http_bench PRIVATE WITH_CURL)
endif()
