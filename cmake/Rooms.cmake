# Helpers to describe the rooms (source folders), their tests and modules.
include(${CMAKE_CURRENT_LIST_DIR}/XelbrinCoreFunctions.cmake)

# xc_run_test(<name> <timeout> [properties...])
# The time that a test may take, in seconds; where Windows programs run under Wine it waits for Wine's server.
function(xc_run_test name timeout)
  set_tests_properties(${name} PROPERTIES TIMEOUT ${timeout} ${ARGN})
  if(WIN32 AND CMAKE_CROSSCOMPILING)
    set_tests_properties(${name} PROPERTIES FIXTURES_REQUIRED wine)
  endif()
endfunction()

# xc_room(<name> [PORTABLE files...] [WINDOWS files...])
# Adds a folder's sources to the library. Portable files build natively as well, for the sanitizers and fuzzers.
function(xc_room name)
  cmake_parse_arguments(PARSE_ARGV 1 room "" "" "PORTABLE;WINDOWS")
  set(files ${room_PORTABLE})
  if(WIN32)
    list(APPEND files ${room_WINDOWS})
  endif()
  list(TRANSFORM files PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/")
  if(NOT files)
    return()
  endif()
  target_sources(XelbrinCore PRIVATE ${files})
  set_source_files_properties(${files} TARGET_DIRECTORY XelbrinCore PROPERTIES UNITY_GROUP ${name})
endfunction()

# xc_tests(<room> [PORTABLE files...] [WINDOWS files...] [LIBRARIES targets...])
# One test program a room, test_<room>, run as one test.
function(xc_tests name)
  cmake_parse_arguments(PARSE_ARGV 1 tests "" "" "PORTABLE;WINDOWS;LIBRARIES")
  set(files ${tests_PORTABLE})
  if(WIN32)
    list(APPEND files ${tests_WINDOWS})
  endif()
  if(NOT files)
    return()
  endif()
  add_executable(test_${name} ${files})
  xc_own_code(test_${name})
  if(XC_COVERAGE) # internal sources that a test compiles are the library's code, too
    set(counted ${files})
    list(FILTER counted INCLUDE REGEX "^${PROJECT_SOURCE_DIR}/src/")
    set_source_files_properties(${counted} PROPERTIES
      COMPILE_OPTIONS "--coverage;-fprofile-update=atomic;-O0" SKIP_UNITY_BUILD_INCLUSION ON)
    target_link_options(test_${name} PRIVATE --coverage)
  endif()
  set_target_properties(test_${name} PROPERTIES UNITY_BUILD_MODE BATCH UNITY_BUILD_BATCH_SIZE 0)
  target_link_libraries(test_${name} PRIVATE XelbrinCore xc_gtest ${tests_LIBRARIES})
  target_include_directories(test_${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  add_test(NAME ${name} COMMAND test_${name} --gtest_brief=1)
  xc_run_test(${name} 600)
endfunction()

# xc_tests_without_avx2(<name>)
# The room's tests once more, with nothing but the vector instructions that every processor has.
function(xc_tests_without_avx2 name)
  add_test(NAME ${name}_without_avx2 COMMAND test_${name} --gtest_brief=1)
  xc_run_test(${name}_without_avx2 600 ENVIRONMENT XC_NO_AVX2=1)
endfunction()

# xc_module(<target> <folder> files...)
# A plug-in module (.osx), built into the folder.
function(xc_module target folder)
  xc_plug_in(${target} FOLDER ${folder} ${ARGN})
  xc_own_code(${target})
endfunction()

# xc_test_module(<target> files...)
# A module that tests load at run time.
function(xc_test_module target)
  xc_module(${target} ${PROJECT_BINARY_DIR}/bin/modules ${ARGN})
endfunction()

# xc_example(<name> <file>)
# A small program of examples/, run by the tests: it must end with exit code 0.
function(xc_example name file)
  add_executable(example_${name} ${file})
  xc_own_code(example_${name})
  target_link_libraries(example_${name} PRIVATE XelbrinCore)
  target_link_options(example_${name} PRIVATE -municode)
  add_test(NAME example_${name} COMMAND example_${name} ${ARGN})
  xc_run_test(example_${name} 120)
endfunction()
