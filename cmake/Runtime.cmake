# The runtime libraries of the compiler, without their debug data, beside every program of the build.
set(XC_RUNTIME_DLLS "")
foreach(dll libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
    OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
  file(COPY "${path}" DESTINATION ${PROJECT_BINARY_DIR}/bin FOLLOW_SYMLINK_CHAIN)
  execute_process(COMMAND ${CMAKE_STRIP} ${PROJECT_BINARY_DIR}/bin/${dll})
  list(APPEND XC_RUNTIME_DLLS ${PROJECT_BINARY_DIR}/bin/${dll})
endforeach()
set_target_properties(XelbrinCore PROPERTIES XC_RUNTIME_DLLS "${XC_RUNTIME_DLLS}")
