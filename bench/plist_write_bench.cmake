pkg_check_modules(LIBPLIST REQUIRED IMPORTED_TARGET libplist-2.0)
target_link_libraries(plist_write_bench PRIVATE PkgConfig::LIBPLIST)
