# Debian packages, one per product: `cmake --build build --target package` writes
# build/packages/{mnemora,voxlet,tallo}_{version}-1_{arch}.deb. Each installs its bundle folder
# under /usr/lib/{name}/ (the application finds Info.json, Resources/ and its daemon beside the
# real executable, so /usr/bin/{name} is a symbolic link into it), and the desktop entry, icons and
# AppStream metadata where desktops and software centres look for them.
set(MNEMORA_PACKAGING_DIR ${CMAKE_BINARY_DIR}/packaging)
set(MNEMORA_ICON_SIZES 16 24 32 48 64 128 256)

# Shared-library scanning finds what the executables link; these are what they load or run by
# name instead. Every product needs the QML modules its screens import and the SVG plugin its
# icons are drawn with; Voxlet is voice to text, so recording (AAC through GStreamer) and the
# daemon's speech recogniser are part of it, while the other two use them only for spoken answers.
# espeak-ng says the phrase the setup's voice check hears back.
set(MNEMORA_RUNTIME_DEPENDS
  qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-templates
  qml6-module-qtquick-window qml6-module-qtquick-layouts qml6-module-qtqml
  qml6-module-qtqml-models qml6-module-qtqml-workerscript libqt6svg6 procps)
set(MNEMORA_VOICE_PACKAGES
  gstreamer1.0-plugins-good gstreamer1.0-plugins-bad ffmpeg pocketsphinx pocketsphinx-en-us
  espeak-ng)
set(MNEMORA_RUNTIME_RECOMMENDS tmux qt6-wayland)
set(MNEMORA_RUNTIME_SUGGESTS x-terminal-emulator)
set(PRODUCT_SECTION_mnemora utils)
set(PRODUCT_SECTION_voxlet sound)
set(PRODUCT_SECTION_tallo misc)

find_program(MNEMORA_RSVG_CONVERT rsvg-convert)
if(NOT MNEMORA_RSVG_CONVERT)
  message(STATUS "rsvg-convert not found (librsvg2-bin): packages carry the scalable icon only")
endif()

function(mnemora_join_depends out)
  list(JOIN ARGN ", " joined)
  set(${out} "${joined}" PARENT_SCOPE)
endfunction()

# Debian wants a package's long description in lines of under 80 characters.
function(mnemora_wrap_text out text)
  string(REPLACE " " ";" words "${text}")
  set(wrapped "")
  set(line "")
  foreach(word ${words})
    string(LENGTH "${line} ${word}" length)
    if(line STREQUAL "")
      set(line "${word}")
    elseif(length GREATER 76)
      string(APPEND wrapped "${line}\n")
      set(line "${word}")
    else()
      string(APPEND line " ${word}")
    endif()
  endforeach()
  set(${out} "${wrapped}${line}" PARENT_SCOPE)
endfunction()

set(icon_outputs)
foreach(entry ${MNEMORA_BUNDLE_LIST})
  string(REPLACE "|" ";" parts "${entry}")
  list(GET parts 0 bundle_name)
  list(GET parts 1 name)
  list(GET parts 2 identifier)
  set(desktop_id ${PRODUCT_DESKTOP_ID_${name}})
  set(bundle ${MNEMORA_BUNDLES_DIR}/${bundle_name})
  set(staging ${MNEMORA_PACKAGING_DIR}/${name})
  set(svg ${CMAKE_SOURCE_DIR}/packaging/icons/${identifier}.svg)
  string(TOUPPER ${name} component)

  # The installed desktop entry starts the launcher on PATH and names the themed icon.
  set(PRODUCT_NAME ${bundle_name})
  set(PRODUCT_EXECUTABLE ${name})
  set(PRODUCT_EXEC ${name})
  set(PRODUCT_ICON ${desktop_id})
  foreach(key GENERIC SUMMARY CATEGORIES)
    set(PRODUCT_${key} "${PRODUCT_${key}_${name}}")
  endforeach()
  configure_file(${CMAKE_SOURCE_DIR}/packaging/app.desktop.in ${staging}/${desktop_id}.desktop
                 @ONLY)
  file(CREATE_LINK ../lib/${name}/${name} ${staging}/${name} SYMBOLIC)

  install(PROGRAMS ${bundle}/${name} ${bundle}/${name}-daemon DESTINATION lib/${name}
          COMPONENT ${name})
  # Debug information stays in the build; the package carries what runs.
  install(CODE "execute_process(COMMAND \"${CMAKE_STRIP}\" --strip-unneeded
                  \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/lib/${name}/${name}\"
                  \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/lib/${name}/${name}-daemon\"
                  COMMAND_ERROR_IS_FATAL ANY)"
          COMPONENT ${name})
  install(FILES ${bundle}/Info.json DESTINATION lib/${name} COMPONENT ${name})
  install(DIRECTORY ${bundle}/Resources DESTINATION lib/${name} COMPONENT ${name})
  install(FILES ${staging}/${name} DESTINATION bin COMPONENT ${name})
  install(FILES ${staging}/${desktop_id}.desktop DESTINATION share/applications
          COMPONENT ${name})
  install(FILES ${bundle}/Resources/${desktop_id}.metainfo.xml DESTINATION share/metainfo
          COMPONENT ${name})
  install(FILES ${svg} DESTINATION share/icons/hicolor/scalable/apps RENAME ${desktop_id}.svg
          COMPONENT ${name})
  if(MNEMORA_RSVG_CONVERT)
    foreach(size ${MNEMORA_ICON_SIZES})
      set(png ${staging}/icons/${size}x${size}/${desktop_id}.png)
      add_custom_command(OUTPUT ${png}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${staging}/icons/${size}x${size}
        COMMAND ${MNEMORA_RSVG_CONVERT} -w ${size} -h ${size} -o ${png} ${svg}
        DEPENDS ${svg} VERBATIM)
      list(APPEND icon_outputs ${png})
      install(FILES ${png} DESTINATION share/icons/hicolor/${size}x${size}/apps
              COMPONENT ${name})
    endforeach()
  endif()

  set(depends ${MNEMORA_RUNTIME_DEPENDS})
  set(recommends ${MNEMORA_RUNTIME_RECOMMENDS})
  if(name STREQUAL "voxlet")
    list(APPEND depends ${MNEMORA_VOICE_PACKAGES})
  else()
    list(APPEND recommends ${MNEMORA_VOICE_PACKAGES})
  endif()
  set(CPACK_DEBIAN_${component}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${component}_PACKAGE_SECTION ${PRODUCT_SECTION_${name}})
  mnemora_join_depends(CPACK_DEBIAN_${component}_PACKAGE_DEPENDS ${depends})
  mnemora_join_depends(CPACK_DEBIAN_${component}_PACKAGE_RECOMMENDS ${recommends})
  mnemora_join_depends(CPACK_DEBIAN_${component}_PACKAGE_SUGGESTS ${MNEMORA_RUNTIME_SUGGESTS})
  set(CPACK_COMPONENT_${component}_DISPLAY_NAME ${bundle_name})
  mnemora_wrap_text(description "${PRODUCT_DESCRIPTION_${name}}")
  set(CPACK_COMPONENT_${component}_DESCRIPTION "${PRODUCT_SUMMARY_${name}}\n${description}")
endforeach()
add_custom_target(package_icons ALL DEPENDS ${icon_outputs})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "Mnemora")
set(CPACK_PACKAGE_CONTACT "Mnemora developers <developers@mnemora.ai>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL mnemora voxlet tallo)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
include(CPack)
