# The three products are one executable in three bundle folders; only Info.json tells them
# apart. Each bundle: {Folder}/{executable}, {Folder}/Info.json, {Folder}/Resources/.
set(MNEMORA_BUNDLES_DIR ${CMAKE_BINARY_DIR}/bundles)
set(MNEMORA_BUNDLE_LIST
  "Mnemora|mnemora|ai.mnemora"
  "Voxlet|voxlet|vox.let"
  "Tallo|tallo|tallo.ai"
)
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
    \"displayName\": \"${bundle_name}\",
    \"identifier\": \"${identifier}\",
    \"name\": \"${bundle_name}\",
    \"version\": \"${PROJECT_VERSION}\"
}
")
  if(EXISTS ${CMAKE_SOURCE_DIR}/resources)
    file(COPY ${CMAKE_SOURCE_DIR}/resources/ DESTINATION ${folder}/Resources)
  endif()
  add_custom_command(
    OUTPUT ${folder}/${executable_name}
    COMMAND ${CMAKE_COMMAND} -E copy $<TARGET_FILE:mnemora> ${folder}/${executable_name}
    DEPENDS mnemora
    COMMENT "Bundling ${bundle_name}"
    VERBATIM)
  list(APPEND MNEMORA_BUNDLE_OUTPUTS ${folder}/${executable_name})
endforeach()
add_custom_target(bundles ALL DEPENDS ${MNEMORA_BUNDLE_OUTPUTS})
