# What every test process runs with: the offscreen platform, UDP broadcasts
# pointed at loopback so that no test sends a packet off this machine, and the
# sanitizer's suppressions for Qt's own leaks.
# Modules installed into the build tree's modules folder (the robot pages) are
# not loaded by the hosts that tests start.
set(ZARVO_TEST_ENVIRONMENT
    "QT_QPA_PLATFORM=offscreen;ZARVO_BROADCAST_ADDRESS=127.0.0.1;ZARVO_MODULES_DIR=")
if(ZARVO_SANITIZE)
    list(APPEND ZARVO_TEST_ENVIRONMENT
        "LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/cmake/lsan.supp")
endif()

# zarvo_add_qtest(<source> [LIBS <targets>...] [SOURCES <extra>...] [TIMEOUT <s>])
#
# One QtTest executable per source file, named after the file, run with
# ZARVO_TEST_ENVIRONMENT.
function(zarvo_add_qtest source)
    cmake_parse_arguments(ARG "" "TIMEOUT" "LIBS;SOURCES" ${ARGN})
    get_filename_component(name ${source} NAME_WE)
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    add_executable(${name} ${source} ${ARG_SOURCES})
    target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests/common)
    target_link_libraries(${name} PRIVATE Qt5::Test ${ARG_LIBS})
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES
        TIMEOUT ${ARG_TIMEOUT}
        ENVIRONMENT "${ZARVO_TEST_ENVIRONMENT}")
endfunction()

# Adds every tst_*.cpp of the calling folder as its own test.
function(zarvo_add_qtests_in_folder)
    cmake_parse_arguments(ARG "" "" "LIBS" ${ARGN})
    file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/tst_*.cpp)
    foreach(source IN LISTS sources)
        zarvo_add_qtest(${source} LIBS ${ARG_LIBS})
    endforeach()
endfunction()
