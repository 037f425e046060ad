# SPDX-License-Identifier: Apache-2.0
# What `cmake --install` puts down: libraries, public headers, the CMake package, the licence. Each tool installs itself.
include(CMakePackageConfigHelpers)

set(qor_libraries qorplatform qortools)
install(TARGETS ${qor_libraries} EXPORT qortools
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_SKIP COMPONENT Runtime)
install(TARGETS ${qor_libraries}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_ONLY COMPONENT Development)

# The public headers: what an application or a tool may include. The wires and the daemon stay inside.
file(GLOB qor_public_headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}
     platform/ara/*/*.h platform/log/*.h platform/dp/*.h
     src/common/*.h src/common/records/*.h src/common/utils/*.h src/datatype/*.h src/qorevent/*.h src/qorbag/*.h platform/zel/*.h)
foreach(name byte_buffer e2e/check_status node_handle publisher subscriber recv_buffer helper host_domain deployment)
  list(APPEND qor_public_headers platform/com/${name}.h)
endforeach()
foreach(name tools_service tools_service_proxy)
  list(APPEND qor_public_headers platform/maintaind/service/${name}.h)
endforeach()
foreach(header IN LISTS qor_public_headers)
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qor/${folder} COMPONENT Development)
endforeach()

set(qor_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qortools)
install(EXPORT qortools NAMESPACE qortools:: FILE qortools-targets.cmake DESTINATION ${qor_package_dir}
        COMPONENT Development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/qortools-config.cmake.in
                              ${PROJECT_BINARY_DIR}/qortools-config.cmake INSTALL_DESTINATION ${qor_package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qortools-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qortools-config.cmake ${PROJECT_BINARY_DIR}/qortools-config-version.cmake
        DESTINATION ${qor_package_dir} COMPONENT Development)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT Runtime)
