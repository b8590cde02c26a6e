# Functions for projects that use the library, in its own build and installed with its package.

# xc_plug_in(<target> [FOLDER <folder>] files...)
# A plug-in module: <target>.osx, built into the folder when one is named.
function(xc_plug_in target)
  cmake_parse_arguments(PARSE_ARGV 1 plug_in "" "FOLDER" "")
  add_library(${target} MODULE ${plug_in_UNPARSED_ARGUMENTS})
  target_link_libraries(${target} PRIVATE XelbrinCore::XelbrinCore)
  set_target_properties(${target} PROPERTIES PREFIX "" SUFFIX ".osx")
  if(plug_in_FOLDER)
    set_target_properties(${target} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${plug_in_FOLDER})
  endif()
endfunction()

# xc_runtime_beside(<program>)
# Puts the library and the compiler's runtime libraries into the program's folder, where Windows looks for them.
function(xc_runtime_beside program)
  get_target_property(runtime XelbrinCore::XelbrinCore XC_RUNTIME_DLLS)
  add_custom_command(TARGET ${program} POST_BUILD
    COMMAND ${CMAKE_COMMAND} -E copy_if_different $<TARGET_FILE:XelbrinCore::XelbrinCore> ${runtime}
            $<TARGET_FILE_DIR:${program}> VERBATIM)
endfunction()

# xc_message_table(<target> <file.mc> LANGUAGES <ids...>)
# Compiles message texts (UTF-8) into a resource of the target; the ids are those of the file's LanguageNames, as four
# hexadecimal digits.
function(xc_message_table target file)
  cmake_parse_arguments(PARSE_ARGV 2 table "" "" "LANGUAGES")
  if(NOT CMAKE_RC_COMPILER)
    message(FATAL_ERROR "xc_message_table: name RC among the LANGUAGES of project()")
  endif()
  get_filename_component(file ${file} ABSOLUTE)
  get_filename_component(name ${file} NAME_WE)
  set(folder ${CMAKE_CURRENT_BINARY_DIR}/${target}_messages)
  file(MAKE_DIRECTORY ${folder})
  list(TRANSFORM table_LANGUAGES REPLACE "(.+)" "${folder}/MSG0\\1.bin" OUTPUT_VARIABLE bins)
  # Only binutils have one. An environment of LLVM takes it from the one of GCC that is installed beside it.
  get_filename_component(compiler_folder ${CMAKE_CXX_COMPILER} DIRECTORY)
  find_program(XC_WINDMC NAMES x86_64-w64-mingw32-windmc windmc
    PATHS ${compiler_folder}/../../ucrt64/bin ${compiler_folder}/../../mingw64/bin
    DOC "The message compiler, windmc of GNU binutils (MSYS2: mingw-w64-ucrt-x86_64-binutils)" REQUIRED)
  add_custom_command(OUTPUT ${folder}/${name}.rc ${bins}
    COMMAND ${XC_WINDMC} -U -C 65001 -h ${folder} -r ${folder} ${file} DEPENDS ${file} VERBATIM)
  # The target may live in another folder than the texts.
  add_custom_target(${target}_messages DEPENDS ${folder}/${name}.rc ${bins})
  add_dependencies(${target} ${target}_messages)
  if(TARGET xc_generated) # of the library's own build
    add_dependencies(xc_generated ${target}_messages)
  endif()
  set_source_files_properties(${folder}/${name}.rc TARGET_DIRECTORY ${target}
    PROPERTIES GENERATED ON OBJECT_DEPENDS "${bins}")
  target_sources(${target} PRIVATE ${folder}/${name}.rc)
  target_include_directories(${target} PRIVATE $<$<COMPILE_LANGUAGE:RC>:${folder}>)
endfunction()
