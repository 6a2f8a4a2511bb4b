# The main application's bundle and the agent's within it. The build tree holds them as they will be installed, so that
# the agent finds what is around it from where it stands, in either place.

set(TARVEL_UPDATE_FEED_URL "" CACHE STRING "The feed that tells of new versions; without one nobody asks for updates")

set(TARVEL_BUNDLE_Tarvel "Tarvel.app")
set(TARVEL_BUNDLE_TarvelHelper "Tarvel.app/Contents/Library/TarvelHelper.app")
set(TARVEL_BUNDLES_DESTINATION "${CMAKE_INSTALL_LIBDIR}/tarvel")

# tarvel_bundle(bundle extra): what the bundle tells about itself, with the lines `extra` at the end.
function(tarvel_bundle bundle extra)
  set(BUNDLE_NAME "${bundle}")
  set(BUNDLE_EXTRA "${extra}")
  set(contents "${TARVEL_BUNDLE_${bundle}}/Contents")
  configure_file("${PROJECT_SOURCE_DIR}/packaging/Info.plist.in" "${PROJECT_BINARY_DIR}/${contents}/Info.plist" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/${contents}/Info.plist" DESTINATION "${TARVEL_BUNDLES_DESTINATION}/${contents}")
endfunction()

# tarvel_bundle_tables(bundle): the tables of texts, copied by every build.
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

# tarvel_bundle_executable(target bundle [component]): the target's program stands in that bundle, `Tarvel` or
# `TarvelHelper`, and in that package.
function(tarvel_bundle_executable target bundle)
  if(NOT DEFINED TARVEL_BUNDLE_${bundle})
    message(FATAL_ERROR "There is no bundle ${bundle}")
  endif()
  set(folder "${TARVEL_BUNDLE_${bundle}}/Contents/Linux")
  # As an expression it stays free of a folder for each configuration.
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
