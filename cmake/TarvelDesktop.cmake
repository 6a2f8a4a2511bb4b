# Desktop file, AppStream metainfo and icons of the main application. The desktop file contains an absolute path, so it is
# generated at installation, when the prefix is known.

set(TARVEL_DESKTOP_TEMPLATE "${PROJECT_SOURCE_DIR}/packaging/org.tarvel.Tarvel.desktop.in")
set(application "${TARVEL_BUNDLES_DESTINATION}/${TARVEL_BUNDLE_Tarvel}/Contents/Linux/Tarvel")
install(CODE "
  cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_PREFIX OUTPUT_VARIABLE prefix)
  cmake_path(APPEND prefix \"${application}\" OUTPUT_VARIABLE word)
  cmake_path(APPEND prefix \"${CMAKE_INSTALL_DATADIR}/applications/org.tarvel.Tarvel.desktop\" OUTPUT_VARIABLE file)
  # Quoted only if needed. Backslashes are escaped twice: for the quotes and for the file.
  string(REPLACE \"%\" \"%%\" word \"\${word}\")
  if(NOT word MATCHES \"^[-A-Za-z0-9_./%]+$\")
    string(REGEX REPLACE \"([\\\"`\\$])\" \"\\\\\\\\\\\\\\\\\\\\1\" word \"\${word}\")
    set(word \"\\\"\${word}\\\"\")
  endif()
  set(TARVEL_APPLICATION_COMMAND \"\${word}\")
  message(STATUS \"Installing: \$ENV{DESTDIR}\${file}\")
  configure_file(\"${TARVEL_DESKTOP_TEMPLATE}\" \"\$ENV{DESTDIR}\${file}\" @ONLY
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${file}\")
")

install(FILES "${PROJECT_SOURCE_DIR}/packaging/org.tarvel.Tarvel.metainfo.xml"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/metainfo")
set(icons "${CMAKE_INSTALL_DATADIR}/icons/hicolor")
install(FILES "${PROJECT_SOURCE_DIR}/packaging/icons/org.tarvel.Tarvel.svg" DESTINATION "${icons}/scalable/apps")
foreach(size IN ITEMS 16 24 32 48 64 128 256)
  install(FILES "${PROJECT_SOURCE_DIR}/packaging/icons/${size}.png" DESTINATION "${icons}/${size}x${size}/apps"
    RENAME org.tarvel.Tarvel.png)
endforeach()
