# What `cmake --install` puts where, and the three Debian packages that CPack makes of it: the
# library, what a developer needs, and the tools.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qorac)

install(TARGETS qoracn8 qorcorex64 EXPORT qoracTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development)
install(FILES ${PROJECT_SOURCE_DIR}/include/qorac.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

# pkg-config: `pkg-config --cflags --libs qorac`. The file finds the rest from where it stands.
file(RELATIVE_PATH prefix_from_pc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" prefix_from_pc ${prefix_from_pc})
configure_file(${CMAKE_CURRENT_LIST_DIR}/qorac.pc.in ${CMAKE_BINARY_DIR}/qorac.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/qorac.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

# CMake: `find_package(qorac)` and the target qorac::qorac.
set_target_properties(qoracn8 PROPERTIES EXPORT_NAME qorac)
install(EXPORT qoracTargets NAMESPACE qorac:: FILE qoracConfig.cmake
  DESTINATION ${package_dir} COMPONENT development)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/qoracConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/qoracConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT development)

if(QORAC_TOOLS)
  install(TARGETS qordec qorenc DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(FILES ${PROJECT_SOURCE_DIR}/tools/qordec.1 ${PROJECT_SOURCE_DIR}/tools/qorenc.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The qorac developers <maintainers@qorac.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL library development tools)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libqoracn8-6.1)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
  "Audio-coding primitives\n The steps of MP3, AAC, SBR, parametric stereo, TwinVQ and DTS coding that are heavy,\n standard-defined or numerically delicate, as C functions.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libqorac-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libqoracn8-6.1 (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
  "Audio-coding primitives, development files\n The header, and what pkg-config and CMake need to find the library.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME qorac-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libqoracn8-6.1 (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
  "MP3 and AAC decoder, MP3 encoder\n qordec decodes MP3 and AAC files to WAV, qorenc encodes audio files to MP3.")
include(CPack)
