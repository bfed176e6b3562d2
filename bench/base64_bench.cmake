# The fastest Base64 that Debian packages: Abseil's to encode, modp_b64 to decode. Without them the
# program measures ours alone.
find_package(absl QUIET)
find_library(MODPBASE64 modpbase64)
find_path(MODPBASE64_INCLUDE modp_b64.h PATH_SUFFIXES modpbase64)
if(absl_FOUND)
  target_link_libraries(base64_bench PRIVATE absl::strings)
  target_compile_definitions(base64_bench PRIVATE WITH_ABSEIL)
endif()
if(MODPBASE64 AND MODPBASE64_INCLUDE)
  target_include_directories(base64_bench PRIVATE ${MODPBASE64_INCLUDE})
  target_link_libraries(base64_bench PRIVATE ${MODPBASE64})
  target_compile_definitions(base64_bench PRIVATE WITH_MODP)
endif()
