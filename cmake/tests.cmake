# Unit tests: one program for all folders, the same on every platform; tests/host/ needs the
# stand-in computer and is built natively only (label host). tests/e2e/ holds whole runs of the
# real program, which tools/test.sh starts.
set(BUILD_GMOCK OFF)
set(INSTALL_GTEST OFF)
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/gtest EXCLUDE_FROM_ALL)
include(GoogleTest)

file(GLOB test_support CONFIGURE_DEPENDS tests/support/*.cpp)
add_library(test_support STATIC ${test_support})
target_link_libraries(test_support PUBLIC ruvo_core gtest)
# A test names the fields that its case is about.
target_compile_options(test_support PUBLIC -Wno-missing-field-initializers)

function(add_unit_tests name)
  cmake_parse_arguments(arg "" "LABEL" "SOURCES" ${ARGN})
  if(NOT arg_SOURCES)
    return()
  endif()
  add_executable(${name} ${arg_SOURCES})
  if(NOT WIN32)
    # Gives each run of the tests a machine folder of its own.
    target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/support/host/own_machine.cpp)
  endif()
  target_link_libraries(${name} PRIVATE test_support)
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120
    PROPERTIES TIMEOUT 120 LABELS "${arg_LABEL}")
endfunction()

file(GLOB unit_sources CONFIGURE_DEPENDS
  tests/object/*_test.cpp tests/format/*_test.cpp tests/document/*_test.cpp tests/time/*_test.cpp
  tests/stream/*_test.cpp tests/codec/*_test.cpp tests/paths/*_test.cpp tests/cmdline/*_test.cpp
  tests/update/*_test.cpp tests/platform/*_test.cpp)
add_unit_tests(unit_tests LABEL unit SOURCES ${unit_sources})
if(NOT WIN32)
  file(GLOB host_sources CONFIGURE_DEPENDS tests/host/*_test.cpp)
  add_unit_tests(host_tests LABEL host SOURCES ${host_sources})
else()
  include(cmake/windows_tests.cmake)
endif()
include(cmake/e2e.cmake)
