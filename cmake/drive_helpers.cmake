# Build helpers so that each folder's CMakeLists.txt stays a few lines.
include(GoogleTest)

# drive_library(NAME SOURCES file... [DEPS target...] [PRIVATE_DEPS target...])
# A library of src/: it sees its own folder and, through DEPS, the folders below it, and no
# other. Each library publishes an include root holding only a link to its own folder, so an
# include that points upward does not find its header. PRIVATE_DEPS are linked in but stay
# out of sight of the library's users.
function(drive_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS;PRIVATE_DEPS" ${ARGN})
  get_filename_component(folder ${CMAKE_CURRENT_SOURCE_DIR} NAME)
  set(root ${CMAKE_BINARY_DIR}/include/${folder})
  file(MAKE_DIRECTORY ${root})
  file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${root}/${folder} SYMBOLIC)
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${root})
  target_link_libraries(${name} PUBLIC ${ARG_DEPS} PRIVATE ${ARG_PRIVATE_DEPS})
endfunction()

# drive_app_library(NAME SOURCES file... [DEPS target...]): a library of apps/ or tests/,
# whose headers are included as "folder/file.h" from the tree's top (apps/ or tests/).
function(drive_app_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  get_filename_component(top ${CMAKE_CURRENT_SOURCE_DIR} DIRECTORY)
  target_include_directories(${name} PUBLIC ${top})
  target_link_libraries(${name} PUBLIC ${ARG_DEPS})
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
