# What is installed, and the Debian packages made of it: `cmake --install <build> [--component <name>]`, `cpack`.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/qm")
set(components runtime development)

install(TARGETS qm EXPORT qm LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime
    INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(DIRECTORY include/ DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT development)
install(EXPORT qm NAMESPACE qm:: FILE qmTargets.cmake DESTINATION "${package_dir}" COMPONENT development)

# Both say where things are from where they are themselves, so that the tree may be installed, and moved, anywhere.
configure_package_config_file(cmake/qmConfig.cmake.in "${CMAKE_BINARY_DIR}/qmConfig.cmake"
    INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file("${CMAKE_BINARY_DIR}/qmConfigVersion.cmake" COMPATIBILITY AnyNewerVersion)
install(FILES "${CMAKE_BINARY_DIR}/qmConfig.cmake" "${CMAKE_BINARY_DIR}/qmConfigVersion.cmake"
    DESTINATION "${package_dir}" COMPONENT development)
file(RELATIVE_PATH prefix_from_pc "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
string(REGEX REPLACE "/$" "" prefix_from_pc "${prefix_from_pc}")
configure_file(cmake/qm.pc.in "${CMAKE_BINARY_DIR}/qm.pc" @ONLY)
install(FILES "${CMAKE_BINARY_DIR}/qm.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)

if(TARGET qmctl)
    list(APPEND components tools)
    install(TARGETS qmctl RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT tools)
    set_target_properties(qmctl PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
    install(FILES "${CMAKE_BINARY_DIR}/share/man/man1/qmctl.1" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT tools)
    install(FILES "${CMAKE_BINARY_DIR}/share/bash-completion/completions/qmctl"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" COMPONENT tools)
endif()

# A host platform comes with its target image.
if(NOT QM_PLATFORM_DIR)
    list(APPEND components platform)
    install(TARGETS slrealtime_platform EXPORT slrealtime
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT platform)
    install(DIRECTORY platform/include/ DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT platform)
    install(EXPORT slrealtime NAMESPACE slrealtime:: FILE slrealtimeTargets.cmake DESTINATION "${package_dir}"
        COMPONENT platform)
    set_target_properties(qm PROPERTIES INSTALL_RPATH "$ORIGIN")
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL ${components})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")   # each package has its own
set(CPACK_PACKAGE_CONTACT "libqm maintainers <libqm@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")

# qm_package(COMPONENT PACKAGE SECTION DESCRIPTION [COMPONENT_IT_NEEDS])
function(qm_package component package section description)
    string(TOUPPER ${component} key)
    set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${package} PARENT_SCOPE)
    set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section} PARENT_SCOPE)
    set(CPACK_DEBIAN_${key}_DESCRIPTION "${description}" PARENT_SCOPE)
    set(CPACK_COMPONENT_${key}_DEPENDS ${ARGN} PARENT_SCOPE)
endfunction()

if(QM_PLATFORM_DIR)
    qm_package(runtime libqm libs "real-time models' way to the hardware of a Quillmark target")
else()
    qm_package(runtime libqm libs "real-time models' way to the hardware of a Quillmark target" platform)
endif()
qm_package(development libqm-dev libdevel "headers of libqm, for models and driver blocks" runtime)
qm_package(tools qm-tools utils "command-line tool for the owner of a Quillmark target" runtime)
qm_package(platform libqm-platform libs "stand-alone platform that runs models on any Linux machine")
set(CPACK_DEBIAN_PLATFORM_PACKAGE_SUGGESTS libboost-log-dev)    # for programs that are built with its headers
include(CPack)
