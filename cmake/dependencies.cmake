# SPDX-License-Identifier: Apache-2.0
find_package(Threads REQUIRED)
find_package(fastrtps 2.9 REQUIRED)
find_package(spdlog REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(CLI11 REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(QOR_DLT IMPORTED_TARGET automotive-dlt)
pkg_check_modules(QOR_COMPRESSION REQUIRED IMPORTED_TARGET liblz4 libzstd)

# asio is header-only and ships no package file.
find_path(QOR_ASIO_INCLUDE_DIR asio.hpp REQUIRED)
add_library(qor_asio INTERFACE)
target_include_directories(qor_asio SYSTEM INTERFACE ${QOR_ASIO_INCLUDE_DIR})
target_compile_definitions(qor_asio INTERFACE ASIO_STANDALONE ASIO_NO_DEPRECATED)
