# zarvo_add_module(<target>
#     SOURCES <file>...
#     [ALIAS <name>]            resource alias of the module (default: <target>)
#     [RESOURCES <qrc>...]      compiled in with AUTORCC
#     [TRANSLATIONS <ts>...]    compiled to .qm and put into :/<alias>/language/
#     [NO_INSTALL])
#
# Builds a module plug-in for zarvo-hmi the way the core module is built:
# moc, uic and rcc on, linked with Zarvo::zarvo, exporting the kit version the
# host checks, and installed into the folder the host loads modules from.
# The module's sources provide `extern "C" pomr::BModule* newModule(QObject*)`.

function(zarvo_add_module target)
    cmake_parse_arguments(ARG "NO_INSTALL" "ALIAS" "SOURCES;RESOURCES;TRANSLATIONS" ${ARGN})
    if(NOT ARG_SOURCES)
        message(FATAL_ERROR "zarvo_add_module(${target}): SOURCES is required")
    endif()
    if(NOT ARG_ALIAS)
        set(ARG_ALIAS ${target})
    endif()

    set(version_source ${CMAKE_CURRENT_BINARY_DIR}/${target}_kitversion.cpp)
    configure_file(${ZARVO_KIT_DIR}/kitversion.cpp.in ${version_source} COPYONLY)

    set(qm_resources)
    if(ARG_TRANSLATIONS)
        set(qm_dir ${CMAKE_CURRENT_BINARY_DIR}/${target}_language)
        set_source_files_properties(${ARG_TRANSLATIONS} PROPERTIES OUTPUT_LOCATION ${qm_dir})
        qt5_add_translation(qm_files ${ARG_TRANSLATIONS})
        set(qrc ${CMAKE_CURRENT_BINARY_DIR}/${target}_language.qrc)
        set(entries "")
        foreach(qm IN LISTS qm_files)
            get_filename_component(qm_name ${qm} NAME)
            string(APPEND entries "        <file alias=\"${qm_name}\">${qm}</file>\n")
        endforeach()
        file(WRITE ${qrc}.in "<!DOCTYPE RCC>\n<RCC version=\"1.0\">\n"
            "    <qresource prefix=\"/${ARG_ALIAS}/language\">\n${entries}"
            "    </qresource>\n</RCC>\n")
        configure_file(${qrc}.in ${qrc} COPYONLY)
        set(qm_resources ${qrc} ${qm_files})
    endif()

    add_library(${target} MODULE ${ARG_SOURCES} ${ARG_RESOURCES} ${qm_resources}
        ${version_source})
    set_target_properties(${target} PROPERTIES
        AUTOMOC ON
        AUTOUIC ON
        AUTORCC ON
        PREFIX "lib"
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
    target_compile_features(${target} PRIVATE cxx_std_17)
    target_link_libraries(${target} PRIVATE Zarvo::zarvo)

    if(NOT ARG_NO_INSTALL)
        install(TARGETS ${target} LIBRARY DESTINATION ${ZARVO_MODULES_INSTALL_DIR})
    endif()
endfunction()
