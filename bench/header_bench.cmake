# http-parser, without which the program measures ours alone.
find_library(HTTP_PARSER http_parser)
if(HTTP_PARSER)
  target_link_libraries(header_bench PRIVATE ${HTTP_PARSER})
  target_compile_definitions(header_bench PRIVATE WITH_HTTP_PARSER)
endif()
