# CMake's view of macOS on Apple silicon as seen from Linux. scripts/check-macos makes the folder
# MORVEL_CHECK_STAGE and, beside it, the tools.

list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MORVEL_CHECK_STAGE)
cmake_path(GET MORVEL_CHECK_STAGE PARENT_PATH build)

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_VERSION 23)
set(CMAKE_SYSTEM_PROCESSOR arm64)
set(CMAKE_CXX_COMPILER ${build}/tools/zig-c++)
set(CMAKE_AR ${build}/tools/zig-ar)
set(CMAKE_RANLIB ${build}/tools/zig-ranlib)
set(CMAKE_INSTALL_NAME_TOOL /bin/false) # nothing is to be edited
set(CMAKE_OSX_SYSROOT "")
set(CMAKE_CXX_FLAGS_INIT "-target aarch64-macos.14.0 -O1 -g0 -F${MORVEL_CHECK_STAGE}/frameworks")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,--no-gc-sections -L${MORVEL_CHECK_STAGE}/lib")
set(CMAKE_CXX_COMPILER_WORKS TRUE)
set(CMAKE_SHARED_LIBRARY_RUNTIME_CXX_FLAG "-Wl,-rpath,") # which CMake knows of Macs only

# The packages are this machine's; staged.cmake replaces what they name.
execute_process(COMMAND gcc -print-multiarch OUTPUT_VARIABLE arch OUTPUT_STRIP_TRAILING_WHITESPACE)
set(CMAKE_PREFIX_PATH /usr /usr/lib/${arch}/cmake)
set(CMAKE_LIBRARY_PATH ${MORVEL_CHECK_STAGE}/lib)
set(Qt6_DIR /usr/lib/${arch}/cmake/Qt6)
set(QT_HOST_PATH /usr)
list(PREPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR})
set(CMAKE_PROJECT_Morvel_INCLUDE ${CMAKE_CURRENT_LIST_DIR}/staged.cmake)
