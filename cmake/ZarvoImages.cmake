# The HMI's images are drawn as SVG (resources/zarvo/images/<group>/<name>.svg)
# and rendered at build time to <name>.png and <name>@2x.png, so that they stay
# sharp at a size zoom of 2. ZARVO_IMAGE_FILES lists the PNGs and
# ZARVO_IMAGE_QRC the resource file that compiles them in under
# ":/zarvo/images/<group>/".

add_executable(zarvo-svg2png ${CMAKE_SOURCE_DIR}/resources/svg2png.cpp)
target_link_libraries(zarvo-svg2png PRIVATE Qt5::Gui Qt5::Svg)

set(ZARVO_IMAGE_SOURCE_DIR ${CMAKE_SOURCE_DIR}/resources/zarvo/images)
set(ZARVO_IMAGE_OUTPUT_DIR ${CMAKE_BINARY_DIR}/resources/zarvo/images)
file(GLOB ZARVO_IMAGE_SVGS CONFIGURE_DEPENDS
    ${ZARVO_IMAGE_SOURCE_DIR}/widget/*.svg
    ${ZARVO_IMAGE_SOURCE_DIR}/body/*.svg)

set(ZARVO_IMAGE_FILES)
set(qrc_entries "")
foreach(svg IN LISTS ZARVO_IMAGE_SVGS)
    file(RELATIVE_PATH rel ${ZARVO_IMAGE_SOURCE_DIR} ${svg})
    get_filename_component(group ${rel} DIRECTORY)
    get_filename_component(stem ${rel} NAME_WE)
    set(out1 ${ZARVO_IMAGE_OUTPUT_DIR}/${group}/${stem}.png)
    set(out2 ${ZARVO_IMAGE_OUTPUT_DIR}/${group}/${stem}@2x.png)
    add_custom_command(
        OUTPUT ${out1} ${out2}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${ZARVO_IMAGE_OUTPUT_DIR}/${group}
        COMMAND zarvo-svg2png ${svg} ${out1} 1
        COMMAND zarvo-svg2png ${svg} ${out2} 2
        DEPENDS zarvo-svg2png ${svg}
        COMMENT "Rendering image ${group}/${stem}"
        VERBATIM)
    list(APPEND ZARVO_IMAGE_FILES ${out1} ${out2})
    string(APPEND qrc_entries
        "        <file alias=\"${group}/${stem}.png\">${out1}</file>\n"
        "        <file alias=\"${group}/${stem}@2x.png\">${out2}</file>\n")
endforeach()

set(ZARVO_IMAGE_QRC ${CMAKE_BINARY_DIR}/resources/zarvo_images.qrc)
file(CONFIGURE OUTPUT ${ZARVO_IMAGE_QRC} CONTENT
"<!DOCTYPE RCC>
<RCC version=\"1.0\">
    <qresource prefix=\"/zarvo/images\">
${qrc_entries}    </qresource>
</RCC>
")
add_custom_target(zarvo_images DEPENDS ${ZARVO_IMAGE_FILES})
