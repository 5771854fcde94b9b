# SPDX-License-Identifier: Apache-2.0
# Installs into a temporary prefix and builds and runs the example against what lies there, both ways.
set(installed "${CMAKE_BINARY_DIR}/install_test")
set(install_test "${CMAKE_CURRENT_SOURCE_DIR}/install_test/install_test.sh")

function(add_install_test name)
  add_test(NAME install.${name} COMMAND "${install_test}" ${name})
  set_tests_properties(
    install.${name}
    PROPERTIES TIMEOUT 180
               ENVIRONMENT
               "CMAKE=${CMAKE_COMMAND};BUILD=${CMAKE_BINARY_DIR};SOURCE=${PROJECT_SOURCE_DIR};WORK=${installed};CC=${CMAKE_C_COMPILER};CFLAGS=${CMAKE_C_FLAGS};CXX=${CMAKE_CXX_COMPILER};CXXFLAGS=${CMAKE_CXX_FLAGS};LIBDIR=${CMAKE_INSTALL_LIBDIR};COROSYNC=${HB_WITH_COROSYNC};PYTHON=${HB_PYTHON}")
endfunction()

foreach(name into_a_prefix companion_builds_with_pkg_config has_every_file service_fits_the_cluster_engine example_builds_with_pkg_config example_builds_with_find_package
             example_receives_events prefix_can_be_moved platform_headers_are_found public_header_needs_no_further_path)
  add_install_test(${name})
  set_property(TEST install.${name} PROPERTY FIXTURES_REQUIRED installed_prefix)
endforeach()
set_property(TEST install.into_a_prefix PROPERTY FIXTURES_REQUIRED)
set_property(TEST install.into_a_prefix PROPERTY FIXTURES_SETUP installed_prefix)
set_property(TEST install.example_receives_events PROPERTY FIXTURES_REQUIRED installed_prefix
                                                           example_built)
set_property(TEST install.example_builds_with_pkg_config PROPERTY FIXTURES_SETUP example_built)
