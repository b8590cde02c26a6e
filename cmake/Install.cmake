# The installed tree: bin/ (the library and the compiler's runtime), lib/, include/, the CMake package and, in share/,
# the templates of new projects and the views for debuggers.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# The runtime libraries of the compiler, without their debug data, beside every program of the build.
set(XC_RUNTIME_DLLS "")
foreach(dll libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
    OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
  file(COPY "${path}" DESTINATION ${CMAKE_BINARY_DIR}/bin FOLLOW_SYMLINK_CHAIN)
  execute_process(COMMAND ${CMAKE_STRIP} ${CMAKE_BINARY_DIR}/bin/${dll})
  list(APPEND XC_RUNTIME_DLLS ${CMAKE_BINARY_DIR}/bin/${dll})
endforeach()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/XelbrinCore)
install(TARGETS XelbrinCore EXPORT XelbrinCoreTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${XC_RUNTIME_DLLS} DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY include/XelbrinCore DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY templates debug DESTINATION ${CMAKE_INSTALL_DATADIR}/XelbrinCore)
install(EXPORT XelbrinCoreTargets NAMESPACE XelbrinCore:: DESTINATION ${package_dir})
configure_package_config_file(cmake/XelbrinCoreConfig.cmake.in ${CMAKE_BINARY_DIR}/XelbrinCoreConfig.cmake
  INSTALL_DESTINATION ${package_dir} PATH_VARS CMAKE_INSTALL_BINDIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/XelbrinCoreConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/XelbrinCoreConfig.cmake ${CMAKE_BINARY_DIR}/XelbrinCoreConfigVersion.cmake
  DESTINATION ${package_dir})
