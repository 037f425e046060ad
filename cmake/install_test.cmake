# SPDX-License-Identifier: Apache-2.0
# Installs into the build folder and builds a small program against the result, as a user of the package would. Not for
# sanitizers and foreign processors, where such a program would need this build's flags.
if(QOR_SANITIZE OR CMAKE_CROSSCOMPILING)
  return()
endif()
set(qor_install_root ${PROJECT_BINARY_DIR}/install-test)
add_test(NAME Install.IntoAnEmptyPrefix
         COMMAND sh -c "rm -rf '${qor_install_root}' && '${CMAKE_COMMAND}' --install '${PROJECT_BINARY_DIR}' --prefix '${qor_install_root}/prefix'")
add_test(NAME Install.APackageUserBuildsAndRuns
         COMMAND ${CMAKE_CTEST_COMMAND} --build-and-test
                 ${CMAKE_CURRENT_LIST_DIR}/install_test ${qor_install_root}/consumer
                 --build-generator ${CMAKE_GENERATOR}
                 --build-options -DCMAKE_PREFIX_PATH=${qor_install_root}/prefix
                                 -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER}
                                 -DCMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER}
                 --test-command consumer ${PROJECT_SOURCE_DIR}/demo/deployment)
set_tests_properties(Install.IntoAnEmptyPrefix PROPERTIES FIXTURES_SETUP qor_installed)
set_tests_properties(Install.APackageUserBuildsAndRuns PROPERTIES FIXTURES_REQUIRED qor_installed LABELS install
                     TIMEOUT 240 ENVIRONMENT QOR_RUNTIME_DIR=${qor_install_root}/run)
