# The three products are one executable in three bundle folders; only Info.json tells them
# apart. Each bundle: {Folder}/{executable}, {Folder}/Info.json, {Folder}/Resources/, and what a
# desktop needs to list it: {desktop id}.desktop, its icon and its AppStream metadata.
set(MNEMORA_BUNDLES_DIR ${CMAKE_BINARY_DIR}/bundles)
set(MNEMORA_BUNDLE_LIST
  "Mnemora|mnemora|ai.mnemora"
  "Voxlet|voxlet|vox.let"
  "Tallo|tallo|tallo.ai"
)

# What each product says of itself to the desktop and to software centres. The desktop id names
# the desktop entry, the installed icon and the AppStream component: desktops and software centres
# want a reverse domain name of three parts there, which the two-part bundle identifiers are not.
set(PRODUCT_DESKTOP_ID_mnemora "ai.mnemora.Mnemora")
set(PRODUCT_DESKTOP_ID_voxlet "let.vox.Voxlet")
set(PRODUCT_DESKTOP_ID_tallo "ai.tallo.Tallo")
set(PRODUCT_GENERIC_mnemora "Life Archive")
set(PRODUCT_SUMMARY_mnemora "A private archive of your life, kept on this computer")
set(PRODUCT_DESCRIPTION_mnemora "Mnemora indexes your photos, voice memos and notes into a private archive on this computer, and background AI sessions write the story of your life from it, asking you when only you can know.")
set(PRODUCT_CATEGORIES_mnemora "Utility;Archiving;")
set(PRODUCT_MAIN_CATEGORY_mnemora "Utility")
set(PRODUCT_GENERIC_voxlet "Voice to Text")
set(PRODUCT_SUMMARY_voxlet "Turn voice recordings into text on this computer")
set(PRODUCT_DESCRIPTION_voxlet "Voxlet transcribes your voice memos and recordings locally, so your words never leave this computer, and keeps every transcript at hand.")
set(PRODUCT_CATEGORIES_voxlet "AudioVideo;Audio;")
set(PRODUCT_MAIN_CATEGORY_voxlet "AudioVideo")
set(PRODUCT_GENERIC_tallo "Bookkeeping")
set(PRODUCT_SUMMARY_tallo "Your bookkeeping for each period, ready for your accountant")
set(PRODUCT_DESCRIPTION_tallo "Tallo prepares a small business's bookkeeping for each period: it gathers the material, matches it, asks you what only you can settle, and ends in a letter to your accountant that you send yourself.")
set(PRODUCT_CATEGORIES_tallo "Office;Finance;")
set(PRODUCT_MAIN_CATEGORY_tallo "Office")

set(MNEMORA_BUNDLE_OUTPUTS)
foreach(entry ${MNEMORA_BUNDLE_LIST})
  string(REPLACE "|" ";" parts "${entry}")
  list(GET parts 0 bundle_name)
  list(GET parts 1 executable_name)
  list(GET parts 2 identifier)
  set(folder ${MNEMORA_BUNDLES_DIR}/${bundle_name})
  file(MAKE_DIRECTORY ${folder}/Resources)
  file(WRITE ${folder}/Info.json
"{
    \"desktopEntry\": \"${PRODUCT_DESKTOP_ID_${executable_name}}\",
    \"displayName\": \"${bundle_name}\",
    \"identifier\": \"${identifier}\",
    \"name\": \"${bundle_name}\",
    \"version\": \"${PROJECT_VERSION}\"
}
")
  if(EXISTS ${CMAKE_SOURCE_DIR}/resources)
    # Seed templates and other resources are copied when CMake runs; a changed file makes it run.
    file(GLOB_RECURSE resource_files CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/resources/*)
    file(COPY ${CMAKE_SOURCE_DIR}/resources/ DESTINATION ${folder}/Resources)
  endif()

  set(PRODUCT_NAME ${bundle_name})
  set(PRODUCT_IDENTIFIER ${identifier})
  set(PRODUCT_EXECUTABLE ${executable_name})
  set(PRODUCT_EXEC ${folder}/${executable_name})
  set(PRODUCT_ICON ${folder}/Resources/${identifier}.svg)
  foreach(key DESKTOP_ID GENERIC SUMMARY DESCRIPTION CATEGORIES MAIN_CATEGORY)
    set(PRODUCT_${key} "${PRODUCT_${key}_${executable_name}}")
  endforeach()
  configure_file(${CMAKE_SOURCE_DIR}/packaging/icons/${identifier}.svg
                 ${folder}/Resources/${identifier}.svg COPYONLY)
  configure_file(${CMAKE_SOURCE_DIR}/packaging/app.desktop.in
                 ${folder}/${PRODUCT_DESKTOP_ID}.desktop @ONLY)
  configure_file(${CMAKE_SOURCE_DIR}/packaging/app.metainfo.xml.in
                 ${folder}/Resources/${PRODUCT_DESKTOP_ID}.metainfo.xml @ONLY)

  # The daemon travels beside the application, which finds it by its "-daemon" ending.
  add_custom_command(
    OUTPUT ${folder}/${executable_name} ${folder}/${executable_name}-daemon
    COMMAND ${CMAKE_COMMAND} -E copy $<TARGET_FILE:mnemora> ${folder}/${executable_name}
    COMMAND ${CMAKE_COMMAND} -E copy $<TARGET_FILE:refdaemon>
            ${folder}/${executable_name}-daemon
    DEPENDS mnemora refdaemon
    COMMENT "Bundling ${bundle_name}"
    VERBATIM)
  list(APPEND MNEMORA_BUNDLE_OUTPUTS ${folder}/${executable_name} ${folder}/${executable_name}-daemon)
endforeach()
add_custom_target(bundles ALL DEPENDS ${MNEMORA_BUNDLE_OUTPUTS})

# The phone companion's files, which the application publishes into the record store's database:
# the app from companion/, and PouchDB's browser build from the pinned npm package in tools/.
set(MNEMORA_POUCHDB_BROWSER ${CMAKE_SOURCE_DIR}/tools/node_modules/pouchdb/dist/pouchdb.min.js)
file(GLOB companion_files CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/companion/*)
foreach(entry ${MNEMORA_BUNDLE_LIST})
  string(REPLACE "|" ";" parts "${entry}")
  list(GET parts 0 bundle_name)
  foreach(file ${companion_files})
    get_filename_component(name ${file} NAME)
    configure_file(${file} ${MNEMORA_BUNDLES_DIR}/${bundle_name}/Resources/companion/${name} COPYONLY)
  endforeach()
  if(EXISTS ${MNEMORA_POUCHDB_BROWSER})
    configure_file(${MNEMORA_POUCHDB_BROWSER}
                   ${MNEMORA_BUNDLES_DIR}/${bundle_name}/Resources/companion/pouchdb.min.js COPYONLY)
  endif()
endforeach()
if(NOT EXISTS ${MNEMORA_POUCHDB_BROWSER})
  message(WARNING "tools/node_modules is missing (run scripts/setup.sh): the phone companion "
                  "is bundled without PouchDB and the application will not publish it")
endif()
