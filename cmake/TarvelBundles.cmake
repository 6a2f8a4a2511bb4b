# The bundle of the main application, which contains that of the agent. The build tree has the layout of an installation,
# since programs find each other by their place in the bundles.

set(TARVEL_UPDATE_FEED_URL "" CACHE STRING "Update feed; empty for no update checks")

set(TARVEL_BUNDLE_Tarvel "Tarvel.app")
set(TARVEL_BUNDLE_TarvelHelper "Tarvel.app/Contents/Library/TarvelHelper.app")
set(TARVEL_BUNDLES_DESTINATION "${CMAKE_INSTALL_LIBDIR}/tarvel")

# tarvel_bundle(bundle extra): the bundle's Info.plist, with the lines `extra` at the end.
function(tarvel_bundle bundle extra)
  set(BUNDLE_NAME "${bundle}")
  set(BUNDLE_EXTRA "${extra}")
  set(contents "${TARVEL_BUNDLE_${bundle}}/Contents")
  configure_file("${PROJECT_SOURCE_DIR}/packaging/Info.plist.in" "${PROJECT_BINARY_DIR}/${contents}/Info.plist" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/${contents}/Info.plist" DESTINATION "${TARVEL_BUNDLES_DESTINATION}/${contents}")
endfunction()

# tarvel_bundle_tables(bundle): copies the translations into the bundle.
function(tarvel_bundle_tables bundle)
  set(folder "${TARVEL_BUNDLE_${bundle}}/Contents/Resources")
  file(GLOB tables CONFIGURE_DEPENDS RELATIVE "${PROJECT_SOURCE_DIR}/packaging/Resources"
    "${PROJECT_SOURCE_DIR}/packaging/Resources/*.lproj/Localizable.strings")
  set(copies "")
  foreach(table IN LISTS tables)
    set(source "${PROJECT_SOURCE_DIR}/packaging/Resources/${table}")
    set(copy "${PROJECT_BINARY_DIR}/${folder}/${table}")
    add_custom_command(OUTPUT "${copy}" DEPENDS "${source}" VERBATIM
      COMMAND "${CMAKE_COMMAND}" -E copy "${source}" "${copy}")
    list(APPEND copies "${copy}")
    cmake_path(GET table PARENT_PATH language)
    install(FILES "${source}" DESTINATION "${TARVEL_BUNDLES_DESTINATION}/${folder}/${language}")
  endforeach()
  add_custom_target(bundle_tables ALL DEPENDS ${copies})
endfunction()

# tarvel_bundle_executable(target bundle [component]): puts the program into the bundle, `Tarvel` or `TarvelHelper`, and
# into that package.
function(tarvel_bundle_executable target bundle)
  if(NOT DEFINED TARVEL_BUNDLE_${bundle})
    message(FATAL_ERROR "Unknown bundle: ${bundle}")
  endif()
  set(folder "${TARVEL_BUNDLE_${bundle}}/Contents/Linux")
  # A generator expression prevents multi-config generators from appending a folder.
  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "$<1:${PROJECT_BINARY_DIR}/${folder}>")
  add_dependencies(${target} bundle_tables)
  set(component ${ARGN})
  if(NOT component)
    set(component "${CMAKE_INSTALL_DEFAULT_COMPONENT_NAME}")
  endif()
  install(TARGETS ${target} RUNTIME DESTINATION "${TARVEL_BUNDLES_DESTINATION}/${folder}" COMPONENT ${component})
endfunction()

set(feed "")
if(TARVEL_UPDATE_FEED_URL)
  string(REPLACE "&" "&amp;" url "${TARVEL_UPDATE_FEED_URL}")
  string(REPLACE "<" "&lt;" url "${url}")
  set(feed "\n\t<key>SUFeedURL</key>\n\t<string>${url}</string>")
endif()
tarvel_bundle(Tarvel "${feed}")
tarvel_bundle(TarvelHelper "\n\t<key>LSUIElement</key>\n\t<true/>")
tarvel_bundle_tables(TarvelHelper)
