find_package(PkgConfig REQUIRED)
pkg_check_modules(XML_PEERS REQUIRED IMPORTED_TARGET expat libxml-2.0)
target_link_libraries(xml_bench PRIVATE PkgConfig::XML_PEERS)
