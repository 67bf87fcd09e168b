# Debian packages from the install rules: "zarvo" (host, core module,
# frameworks, modules, simulator, desktop entry) and "zarvo-dev" (headers and
# CMake packages for module authors). scripts/package builds them.

install(FILES ${CMAKE_SOURCE_DIR}/host/zarvo-hmi.desktop
    DESTINATION ${CMAKE_INSTALL_DATADIR}/applications COMPONENT runtime)
install(FILES ${CMAKE_SOURCE_DIR}/host/zarvo-hmi.svg
    DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps COMPONENT runtime)

# Debian wants a copyright file and a compressed changelog in every package.
configure_file(${CMAKE_SOURCE_DIR}/cmake/package/changelog.in
    ${CMAKE_BINARY_DIR}/debian/changelog.Debian @ONLY)
execute_process(COMMAND gzip -9nf ${CMAKE_BINARY_DIR}/debian/changelog.Debian)
foreach(pair IN ITEMS runtime:zarvo dev:zarvo-dev)
    string(REPLACE ":" ";" pair ${pair})
    list(GET pair 0 component)
    list(GET pair 1 package)
    install(FILES ${CMAKE_SOURCE_DIR}/cmake/package/copyright
        ${CMAKE_BINARY_DIR}/debian/changelog.Debian.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package}
        PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ
        COMPONENT ${component})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zarvo)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "zarvo developers <zarvo@example.com>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME zarvo)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION misc)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "rsync")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR}/lib)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
    "desktop HMI for an industrial robot controller\n"
    "zarvo-hmi shows the state of a robot controller and lets operators and\n"
    "integrators drive it from a panel PC: the controller link, the robot's\n"
    "runtime state, settings pages and themes. The package also holds the\n"
    "simulated controller zarvo-rcsim for trials without a robot.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME zarvo-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
    "zarvo (= ${PROJECT_VERSION}-1), qtbase5-dev, qttools5-dev-tools, cmake")
set(CPACK_COMPONENT_DEV_DESCRIPTION
    "kit for writing zarvo HMI modules\n"
    "Headers and CMake packages (find_package(Zarvo)) for modules that put\n"
    "their own pages into the zarvo HMI, with the helper zarvo_add_module().")

include(CPack)
