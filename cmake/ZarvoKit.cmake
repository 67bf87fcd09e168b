# The kit for module authors: the core module's public headers under
# <zarvo/...>, the CMake package Zarvo (target Zarvo::zarvo) and the helper
# zarvo_add_module(). In the build tree the same headers are reachable
# through forwarding headers, so in-tree and out-of-tree code include alike.

set(ZARVO_MODULES_INSTALL_DIR ${ZARVO_INSTALL_LIBDIR}/modules)
set(ZARVO_KIT_DIR ${CMAKE_SOURCE_DIR}/cmake/kit)
set(ZARVO_KIT_INCLUDE_DIR ${CMAKE_BINARY_DIR}/include)

# Installed as <zarvo/<file name>>; they include one another that way too.
set(ZARVO_PUBLIC_HEADERS
    module/zarvo_global.h
    module/managerhelper.h
    controller/controllermanager.h
    controller/pendingcommand.h
    settings/settingmanager.h
    theme/thememanager.h
    services/binding.h
    services/fileutils.h
    services/logthrottle.h
    services/messages.h
    services/modulelog.h
    services/msgmanager.h
    services/paths.h
    services/stylesheet.h
    widgets/basepage.h
    widgets/basesettingpage.h
    widgets/touchableslider.h
)

configure_file(${ZARVO_KIT_DIR}/zarvo_version.h.in
    ${ZARVO_KIT_INCLUDE_DIR}/zarvo/zarvo_version.h @ONLY)
set(ZARVO_INSTALLED_HEADERS ${ZARVO_KIT_INCLUDE_DIR}/zarvo/zarvo_version.h)
foreach(header IN LISTS ZARVO_PUBLIC_HEADERS)
    set(source ${CMAKE_SOURCE_DIR}/${header})
    if(NOT EXISTS ${source})
        continue()
    endif()
    get_filename_component(file ${header} NAME)
    set(forward ${ZARVO_KIT_INCLUDE_DIR}/zarvo/${file})
    set(content "#include \"${source}\"\n")
    # Rewritten only when it changes, so that a configure run rebuilds nothing.
    if(EXISTS ${forward})
        file(READ ${forward} old)
    else()
        set(old "")
    endif()
    if(NOT old STREQUAL content)
        file(WRITE ${forward} "${content}")
    endif()
    list(APPEND ZARVO_INSTALLED_HEADERS ${source})
endforeach()
target_include_directories(zarvo_core PUBLIC ${ZARVO_KIT_INCLUDE_DIR})

install(FILES ${ZARVO_INSTALLED_HEADERS}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zarvo COMPONENT dev)

include(CMakePackageConfigHelpers)
set(ZARVO_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Zarvo)
install(EXPORT ZarvoTargets NAMESPACE Zarvo::
    DESTINATION ${ZARVO_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(${ZARVO_KIT_DIR}/ZarvoConfig.cmake.in
    ${CMAKE_BINARY_DIR}/package-config/ZarvoConfig.cmake
    INSTALL_DESTINATION ${ZARVO_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/package-config/ZarvoConfigVersion.cmake
    COMPATIBILITY ExactVersion)
install(FILES
    ${CMAKE_BINARY_DIR}/package-config/ZarvoConfig.cmake
    ${CMAKE_BINARY_DIR}/package-config/ZarvoConfigVersion.cmake
    ${ZARVO_KIT_DIR}/ZarvoModule.cmake
    ${ZARVO_KIT_DIR}/kitversion.cpp.in
    DESTINATION ${ZARVO_CMAKE_DIR} COMPONENT dev)

include(${ZARVO_KIT_DIR}/ZarvoModule.cmake)
