# The three targets: xp (the runtime), ruvo_core (the update client), ruvo (main alone).
# A new source file is found by its folder.
set(runtime_folders object format document time stream codec paths cmdline platform)
if(WIN32)
  list(APPEND runtime_folders platform/windows)
else()
  list(APPEND runtime_folders platform/host)
endif()
set(runtime_globs ${runtime_folders})
list(TRANSFORM runtime_globs APPEND /*.cpp)
file(GLOB runtime_sources CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} ${runtime_globs})

add_library(xp STATIC ${runtime_sources})
target_link_libraries(xp PUBLIC ruvo_flags)
if(WIN32)
  set(ZLIB_USE_STATIC_LIBS ON)
endif()
find_package(ZLIB REQUIRED)
target_link_libraries(xp PUBLIC ZLIB::ZLIB)
if(WIN32)
  target_link_libraries(xp PUBLIC advapi32 user32 version ws2_32 msi)
else()
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(HOST REQUIRED IMPORTED_TARGET
    icu-uc icu-i18n libcrypto libssl libmsi-1.0 libgsf-1 libgcab-1.0)
  target_link_libraries(xp PUBLIC PkgConfig::HOST)
endif()

file(GLOB core_sources CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} update/*.cpp)
list(REMOVE_ITEM core_sources update/main.cpp)
add_library(ruvo_core STATIC ${core_sources})
target_link_libraries(ruvo_core PUBLIC xp)

add_executable(ruvo update/main.cpp)
target_link_libraries(ruvo PRIVATE ruvo_core)
if(WIN32)
  include(cmake/resources.cmake)
  # The program that is delivered carries no symbols; they lie beside it in ruvo.debug, which gdb
  # finds by the link.
  add_custom_command(TARGET ruvo POST_BUILD
    COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:ruvo> ruvo.debug
    COMMAND ${CMAKE_STRIP} --strip-all $<TARGET_FILE:ruvo>
    COMMAND ${CMAKE_OBJCOPY} --add-gnu-debuglink=ruvo.debug $<TARGET_FILE:ruvo>
    BYPRODUCTS ruvo.debug VERBATIM)
endif()
