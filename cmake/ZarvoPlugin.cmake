# The plug-in `zarvo`. All of its code is compiled once into the object
# library zarvo_core; the shared plug-in is zarvo_core plus the exported
# factory, and tests link zarvo_core directly so that they reach internal
# classes without widening the plug-in's exported interface.

set(ZARVO_SOURCE_DIRS module controller services settings runtime theme widgets)
set(ZARVO_CORE_FILES)
foreach(dir IN LISTS ZARVO_SOURCE_DIRS)
    file(GLOB files CONFIGURE_DEPENDS
        ${CMAKE_SOURCE_DIR}/${dir}/*.cpp
        ${CMAKE_SOURCE_DIR}/${dir}/*.h
        ${CMAKE_SOURCE_DIR}/${dir}/*.ui)
    list(APPEND ZARVO_CORE_FILES ${files})
endforeach()
list(REMOVE_ITEM ZARVO_CORE_FILES ${CMAKE_SOURCE_DIR}/module/newmodule.cpp)

# The Chinese translation is compiled from its source at build time and then
# compiled into the resources next to the other files of the alias "zarvo".
set_source_files_properties(${CMAKE_SOURCE_DIR}/resources/zarvo/language/zarvo_cn.ts
    PROPERTIES OUTPUT_LOCATION ${CMAKE_BINARY_DIR}/resources/zarvo/language)
qt5_add_translation(ZARVO_QM_FILES ${CMAKE_SOURCE_DIR}/resources/zarvo/language/zarvo_cn.ts)
configure_file(${CMAKE_SOURCE_DIR}/resources/zarvo_language.qrc.in
    ${CMAKE_BINARY_DIR}/resources/zarvo_language.qrc @ONLY)
add_custom_target(zarvo_translations DEPENDS ${ZARVO_QM_FILES})
include(ZarvoImages)

add_library(zarvo_core OBJECT
    ${ZARVO_CORE_FILES}
    ${CMAKE_SOURCE_DIR}/resources/zarvo.qrc
    ${CMAKE_BINARY_DIR}/resources/zarvo_language.qrc
    ${ZARVO_QM_FILES}
    ${ZARVO_IMAGE_QRC}
    ${ZARVO_IMAGE_FILES})
add_dependencies(zarvo_core zarvo_translations zarvo_images)
set_target_properties(zarvo_core PROPERTIES POSITION_INDEPENDENT_CODE ON)
target_compile_definitions(zarvo_core PUBLIC ZARVO_LIBRARY)
target_include_directories(zarvo_core PUBLIC ${CMAKE_SOURCE_DIR})
target_link_libraries(zarvo_core PUBLIC pomr velk Qt5::Core Qt5::Network Qt5::Gui Qt5::Widgets)

# Module authors link Zarvo::zarvo: the plug-in's exported classes, with the
# frameworks and Qt coming along.
add_library(zarvo SHARED ${CMAKE_SOURCE_DIR}/module/newmodule.cpp $<TARGET_OBJECTS:zarvo_core>)
add_library(Zarvo::zarvo ALIAS zarvo)
add_dependencies(zarvo zarvo_core)
target_compile_definitions(zarvo PRIVATE ZARVO_LIBRARY)
target_include_directories(zarvo PRIVATE ${CMAKE_SOURCE_DIR}
    PUBLIC $<BUILD_INTERFACE:${CMAKE_BINARY_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_libraries(zarvo PUBLIC pomr velk Qt5::Core Qt5::Network Qt5::Gui Qt5::Widgets)
install(TARGETS zarvo EXPORT ZarvoTargets
    LIBRARY DESTINATION ${ZARVO_INSTALL_LIBDIR} COMPONENT runtime)

include(ZarvoKit)
