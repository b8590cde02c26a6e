# The installed tree: bin/ (the library, its debug data and the compiler's runtime), lib/, include/, the CMake package, the
# file for pkg-config and, in share/, pages, the templates of new projects and the views for debuggers.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/XelbrinCore)
install(TARGETS XelbrinCore EXPORT XelbrinCoreTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
# The library without debug data, which go into a file of their own beside it: the library names that file, so stack
# naming and debuggers find it, and whoever needs neither leaves it out. A few symbols stay: without any, the image has
# no table of long section names, and Wine does not see the one that names the file.
install(CODE "
  set(folder \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
  set(dll $<TARGET_FILE_NAME:XelbrinCore>)
  execute_process(COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:XelbrinCore> \${dll}.debug
    WORKING_DIRECTORY \${folder} COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND ${CMAKE_OBJCOPY} --strip-unneeded --add-gnu-debuglink=\${dll}.debug \${dll}
    WORKING_DIRECTORY \${folder} COMMAND_ERROR_IS_FATAL ANY)
  message(STATUS \"Stripped: \${folder}/\${dll}, debug data in \${dll}.debug\")")
install(FILES ${XC_RUNTIME_DLLS} DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY include/XelbrinCore DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY templates debug DESTINATION ${CMAKE_INSTALL_DATADIR}/XelbrinCore)
install(FILES README.md CHANGELOG.md SECURITY.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(EXPORT XelbrinCoreTargets NAMESPACE XelbrinCore:: DESTINATION ${package_dir})
configure_package_config_file(cmake/XelbrinCoreConfig.cmake.in ${PROJECT_BINARY_DIR}/XelbrinCoreConfig.cmake
  INSTALL_DESTINATION ${package_dir} PATH_VARS CMAKE_INSTALL_BINDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/XelbrinCoreConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/XelbrinCoreConfig.cmake ${PROJECT_BINARY_DIR}/XelbrinCoreConfigVersion.cmake
  cmake/XelbrinCoreFunctions.cmake DESTINATION ${package_dir})
configure_file(cmake/xelbrincore.pc.in ${PROJECT_BINARY_DIR}/xelbrincore.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/xelbrincore.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
