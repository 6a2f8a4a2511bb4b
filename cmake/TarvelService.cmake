# The agent as a systemd user service. Its unit contains an absolute path, so it is generated at installation, when the
# prefix is known.

set(TARVEL_USER_UNITS_DESTINATION "lib/systemd/user" CACHE STRING "Folder of systemd user units")
set(TARVEL_SERVICE_TEMPLATE "${PROJECT_SOURCE_DIR}/packaging/systemd/TarvelHelper.service.in")

set(agent "${TARVEL_BUNDLES_DESTINATION}/${TARVEL_BUNDLE_TarvelHelper}/Contents/Linux/TarvelHelper")
install(CODE "
  cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_PREFIX OUTPUT_VARIABLE prefix)
  cmake_path(APPEND prefix \"${agent}\" OUTPUT_VARIABLE agent)
  cmake_path(APPEND prefix \"${TARVEL_USER_UNITS_DESTINATION}/TarvelHelper.service\" OUTPUT_VARIABLE unit)
  # systemd expands percent signs; the leading colon disables expansion of dollar signs.
  string(REPLACE \"%\" \"%%\" word \"\${agent}\")
  set(TARVEL_AGENT_COMMAND \":\\\"\${word}\\\"\")
  message(STATUS \"Installing: \$ENV{DESTDIR}\${unit}\")
  configure_file(\"${TARVEL_SERVICE_TEMPLATE}\" \"\$ENV{DESTDIR}\${unit}\" @ONLY
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${unit}\")
")
