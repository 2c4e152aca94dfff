# SPDX-License-Identifier: MIT
# `cmake --install`: the programs with their desktop files, and the library for other programs.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# The programs.
install(TARGETS velmora velmora-record velmora-recover RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)

install(FILES packaging/velmora.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications COMPONENT runtime)
set(icons ${CMAKE_INSTALL_DATADIR}/icons/hicolor)
install(FILES packaging/icons/velmora.svg DESTINATION ${icons}/scalable/apps COMPONENT runtime)
foreach(size 16 32 48 128 256)
  install(FILES packaging/icons/velmora-${size}.png DESTINATION ${icons}/${size}x${size}/apps RENAME velmora.png
          COMPONENT runtime)
endforeach()

# The date of a release is only in the change log.
file(STRINGS CHANGELOG.md release_line REGEX "^## ${PROJECT_VERSION} " LIMIT_COUNT 1)
string(REGEX MATCH "[0-9]+-[0-9]+-[0-9]+" RELEASE_DATE "${release_line}")
if(NOT RELEASE_DATE)
  message(FATAL_ERROR "CHANGELOG.md has no heading \"## ${PROJECT_VERSION} (DATE)\"")
endif()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS CHANGELOG.md)

set(metainfo org.velmora.Velmora.metainfo.xml)
configure_file(packaging/${metainfo}.in ${CMAKE_BINARY_DIR}/packaging/${metainfo} @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/packaging/${metainfo} DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo COMPONENT runtime)

install(FILES packaging/70-velmora-firewire.rules DESTINATION lib/udev/rules.d COMPONENT runtime)

# Manual pages list the options as printed by the programs, and are installed compressed, as distributions require.
set(OPTIONS @OPTIONS@)
foreach(page velmora velmora-record velmora-recover)
  set(manual ${CMAKE_BINARY_DIR}/packaging/${page}.1)
  set(maker ${CMAKE_SOURCE_DIR}/packaging/man/make-page.sh)
  configure_file(packaging/man/${page}.1.in ${manual}.in @ONLY)
  add_custom_command(OUTPUT ${manual}.gz COMMAND ${maker} ${manual}.in $<TARGET_FILE:${page}> > ${manual}
                     COMMAND gzip -9nkf ${manual} DEPENDS ${manual}.in ${maker} ${page} VERBATIM)
  list(APPEND manuals ${manual}.gz)
  install(FILES packaging/completions/${page} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
          COMPONENT runtime)
endforeach()
add_custom_target(velmora_manuals ALL DEPENDS ${manuals})
install(FILES ${manuals} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT runtime)

set(documents ${CMAKE_INSTALL_DATADIR}/doc/velmora)
install(FILES docs/third-party.md DESTINATION ${documents} COMPONENT runtime)
install(DIRECTORY ${CMAKE_BINARY_DIR}/share/doc/velmora/guide DESTINATION ${documents} COMPONENT runtime OPTIONAL)

# The library: one archive of all modules, its headers, and how to find it.
set(modules)
get_property(all_targets DIRECTORY src PROPERTY BUILDSYSTEM_TARGETS)
foreach(target ${all_targets})
  get_target_property(type ${target} TYPE)
  if(type STREQUAL STATIC_LIBRARY AND NOT target MATCHES "^velmora_(ui|app)$")
    list(APPEND modules $<TARGET_OBJECTS:${target}>)
  endif()
endforeach()
add_library(velmora_archive STATIC ${modules})
set_target_properties(velmora_archive PROPERTIES OUTPUT_NAME velmora LINKER_LANGUAGE CXX
                                                 ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
install(TARGETS velmora_archive ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)

include(cmake/PublicHeaders.cmake)
set(headers ${CMAKE_INSTALL_INCLUDEDIR}/velmora)
foreach(header ${velmora_public_headers})
  cmake_path(GET header PARENT_PATH folder)
  install(FILES src/${header} DESTINATION ${headers}/${folder} COMPONENT development)
endforeach()
install(FILES ${CMAKE_BINARY_DIR}/generated/Version.h DESTINATION ${headers} COMPONENT development)

# The libraries that a program needs with the archive.
set(VELMORA_MODULES libavcodec libavutil libswscale libswresample libturbojpeg libpulse libpipewire-0.3 libudev)
set(VELMORA_LIBRARIES -lyuv)
if(VELMORA_AVC AND raw1394_FOUND)
  list(APPEND VELMORA_MODULES libraw1394)
  if(VELMORA_DV_STREAM AND LIBIEC61883)
    list(APPEND VELMORA_LIBRARIES -liec61883)
  endif()
endif()
if(VELMORA_IIDC AND dc1394_FOUND)
  list(APPEND VELMORA_MODULES libdc1394-2)
endif()
list(JOIN VELMORA_MODULES " " VELMORA_MODULES_LINE)
list(JOIN VELMORA_LIBRARIES " " VELMORA_LIBRARIES_LINE)

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/Velmora)
configure_package_config_file(cmake/VelmoraConfig.cmake.in ${CMAKE_BINARY_DIR}/packaging/VelmoraConfig.cmake
                              INSTALL_DESTINATION ${package}
                              PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/packaging/VelmoraConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/packaging/VelmoraConfig.cmake
              ${CMAKE_BINARY_DIR}/packaging/VelmoraConfigVersion.cmake
        DESTINATION ${package} COMPONENT development)
# The prefix is relative to the file, so that the installed tree can be moved.
file(RELATIVE_PATH VELMORA_PREFIX_FROM_PC ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/velmora.pc.in ${CMAKE_BINARY_DIR}/packaging/velmora.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/packaging/velmora.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)

install(FILES docs/library.md docs/third-party.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libvelmora-dev COMPONENT development)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libvelmora-dev COMPONENT development)
