# Debian packages, one per install component: the plugin, and the developer tools (host, stand-in,
# default inventory) that depend on it. Run `cpack` in a build tree configured with
# -DCMAKE_INSTALL_PREFIX=/usr so that the libraries land in the multiarch directory.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zor-ifm-telemetry)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "interface telemetry plugin")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "zor_ifm-telemetry-plugin developers <zor-ifm-telemetry@localhost>")
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_STRIP_FILES ON)
# Library dependencies (libcjson1, libprotobuf32, libc6, libstdc++6, ...) come from dpkg-shlibdeps.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

set(CPACK_DEBIAN_PLUGIN_PACKAGE_NAME zor-ifm-telemetry-plugin)
set(CPACK_COMPONENT_PLUGIN_DESCRIPTION
  "Interface telemetry plugin for the model-driven telemetry framework\n"
  "The shared library the framework loads, and the protobuf descriptions of its GPB messages.")
if(ZOR_PLUGIN_ONLY)
  set(CPACK_COMPONENTS_ALL plugin)
else()
  set(CPACK_COMPONENTS_ALL plugin tools)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME zor-ifm-telemetry-tools)
  set(CPACK_COMPONENT_TOOLS_DEPENDS plugin)
  set(CPACK_COMPONENT_TOOLS_DESCRIPTION
    "Host and stand-in platform for the interface telemetry plugin\n"
    "zor_host runs the plugin on a simulated device and decodes what it uploads.")
  # The stand-in sits in a private directory that zor_host finds through its RUNPATH.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${ZOR_STANDIN_INSTALL_DIR})
endif()
# A cross build names the target's Debian architecture (the toolchain file sets it).
if(ZOR_DEBIAN_ARCH)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${ZOR_DEBIAN_ARCH})
endif()

include(CPack)
