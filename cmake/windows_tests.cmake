# What only the real Windows API shows.
file(GLOB windows_sources CONFIGURE_DEPENDS tests/windows/*_test.cpp)
# Twice, since 8-bit calls differ: in the computer's code page, and in UTF-8 by a manifest.
add_unit_tests(windows_tests LABEL windows SOURCES ${windows_sources})
add_unit_tests(windows_utf8_tests LABEL windows SOURCES ${windows_sources} tests/windows/utf8.rc)
# Tests that need a computer set up for them; tests/e2e/windows_scenes_test.sh starts each on its
# own.
file(GLOB scene_sources CONFIGURE_DEPENDS tests/windows/scenes/*_test.cpp)
add_executable(windows_scenes ${scene_sources} tests/windows/utf8.rc)
target_link_libraries(windows_scenes PRIVATE test_support)
# A scripted trust service: whole, without its helpers, and without any function.
foreach(exports 2 1 0)
  set(fake fake_wintrust_${exports})
  add_library(${fake} MODULE EXCLUDE_FROM_ALL tests/windows/fakes/wintrust.cpp)
  target_compile_definitions(${fake} PRIVATE FAKE_EXPORTS=${exports})
  target_link_libraries(${fake} PRIVATE crypt32)
  target_link_options(${fake} PRIVATE -static)
  set_target_properties(${fake} PROPERTIES PREFIX "" OUTPUT_NAME wintrust
    LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/fakes/${exports})
  list(APPEND fakes ${fake})
endforeach()
foreach(program windows_tests windows_utf8_tests)
  if(TARGET ${program})
    # Whose resources they read, and the services that they load.
    add_dependencies(${program} ruvo ${fakes})
    target_link_libraries(${program} PRIVATE winhttp)
  endif()
endforeach()
set_source_files_properties(tests/windows/utf8.rc PROPERTIES
  INCLUDE_DIRECTORIES ${PROJECT_SOURCE_DIR}/tests/windows
  OBJECT_DEPENDS ${PROJECT_SOURCE_DIR}/tests/windows/utf8.manifest)

# Holds files and answers message boxes; tests/e2e/windows_packages_test.sh starts it.
add_executable(windows_helper tests/windows/helper.cpp)
