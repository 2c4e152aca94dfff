# SPDX-License-Identifier: MIT
# `cpack` creates two Debian packages: velmora, the programs, and libvelmora-dev, the library. Use the preset `package`,
# which installs to Debian's folders:
#   cmake --preset package && cmake --build build/package && cpack --config build/package/CPackConfig.cmake
set(VELMORA_MAINTAINER "The Velmora developers <maintainers@velmora.org>"
    CACHE STRING "Maintainer of the packages: name and mail address")

# Below the revision 1 of a package made by Debian itself, which would replace this one.
set(DEBIAN_REVISION 0velmora1)

# Files required by Debian: copyright, change log and a note about groups.
execute_process(COMMAND date --utc --rfc-email --date=${RELEASE_DATE}T12:00Z OUTPUT_VARIABLE RELEASE_DATE_RFC
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
set(changelog ${CMAKE_BINARY_DIR}/packaging/changelog.Debian)
configure_file(packaging/debian/changelog.in ${changelog} @ONLY)
add_custom_command(OUTPUT ${changelog}.gz COMMAND gzip -9nkf ${changelog} DEPENDS ${changelog} VERBATIM)
set(upstream_changelog ${CMAKE_BINARY_DIR}/packaging/changelog.gz)
add_custom_command(OUTPUT ${upstream_changelog} COMMAND gzip -9nc ${CMAKE_SOURCE_DIR}/CHANGELOG.md > ${upstream_changelog}
                   DEPENDS CHANGELOG.md VERBATIM)
add_custom_target(velmora_changelog ALL DEPENDS ${changelog}.gz ${upstream_changelog})
foreach(name velmora libvelmora-dev)
  set(component runtime)
  if(name STREQUAL libvelmora-dev)
    set(component development)
  endif()
  install(FILES packaging/debian/copyright ${changelog}.gz ${upstream_changelog}
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name}
          COMPONENT ${component})
endforeach()
install(FILES packaging/debian/README.Debian DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/velmora COMPONENT runtime)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_PACKAGE_CONTACT "${VELMORA_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                                WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${DEBIAN_REVISION})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME velmora)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION video)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "pipewire-pulse | pulseaudio, qt6-wayland")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Velmora shows the live picture of a camera and records it with its sound to a
QuickTime movie. It is made for people who digitise tapes or use laboratory
and lecture cameras: no frame is lost unnoticed, sound stays synchronised for
hours, and a recording survives a crash.
.
It supports webcams, capture cards, PipeWire cameras, IIDC cameras, and DV
camcorders on FireWire. Two command-line programs record without a window and
finish interrupted recordings.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvelmora-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "qt6-base-dev, libavcodec-dev, libavutil-dev, libswscale-dev, libswresample-dev, libturbojpeg0-dev, libyuv-dev, \
libpulse-dev, libpipewire-0.3-dev, libudev-dev, libraw1394-dev, libiec61883-dev, libdc1394-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "This is the library behind Velmora's windows: a control that shows a camera's
live picture, records it with sound to a QuickTime movie, and manages the
settings of cameras, sound sources and compressors.
.
This package contains the library, its headers, files for CMake and
pkg-config, and examples.")
include(CPack)
