find_package(ICU REQUIRED COMPONENTS i18n uc)
target_link_libraries(text_bench PRIVATE ICU::i18n ICU::uc)
