# Build helpers so that each folder's CMakeLists.txt stays a few lines.
include(GoogleTest)

# drive_library(NAME SOURCES file... [DEPS target...])
function(drive_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/apps)
  target_link_libraries(${name} PUBLIC ${ARG_DEPS})
endfunction()

# drive_sources(TARGET file...): adds a folder's sources to a library made elsewhere.
function(drive_sources target)
  target_sources(${target} PRIVATE ${ARGN})
endfunction()

# drive_test(NAME SOURCES file... [DEPS target...] [LABELS label...])
function(drive_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_DEPS} drive_test_support GTest::gmock GTest::gtest_main)
  set(properties ENVIRONMENT "DRIVE_TEST_BIN=${CMAKE_BINARY_DIR}/bin")
  if(ARG_LABELS)
    list(APPEND properties LABELS "${ARG_LABELS}")
  endif()
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES ${properties})
endfunction()
