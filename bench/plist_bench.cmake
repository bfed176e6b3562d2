find_package(PkgConfig REQUIRED)
pkg_check_modules(DOCUMENT_PEERS REQUIRED IMPORTED_TARGET libplist-2.0 libxml-2.0 pugixml)
target_link_libraries(plist_bench PRIVATE PkgConfig::DOCUMENT_PEERS)
