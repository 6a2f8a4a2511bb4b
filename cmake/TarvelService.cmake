# The agent as a service of the user's session. Unlike the bundles its unit holds a path, which is known only when the
# tree is installed: the prefix can be told as late as that.

set(TARVEL_USER_UNITS_DESTINATION "lib/systemd/user" CACHE STRING "Where service managers look for units of users")
set(TARVEL_SERVICE_TEMPLATE "${PROJECT_SOURCE_DIR}/packaging/systemd/TarvelHelper.service.in")

set(agent "${TARVEL_BUNDLES_DESTINATION}/${TARVEL_BUNDLE_TarvelHelper}/Contents/Linux/TarvelHelper")
install(CODE "
  cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_PREFIX OUTPUT_VARIABLE prefix)
  cmake_path(APPEND prefix \"${agent}\" OUTPUT_VARIABLE agent)
  cmake_path(APPEND prefix \"${TARVEL_USER_UNITS_DESTINATION}/TarvelHelper.service\" OUTPUT_VARIABLE unit)
  # A percent sign stands for something; after the colon a dollar sign does not.
  string(REPLACE \"%\" \"%%\" word \"\${agent}\")
  set(TARVEL_AGENT_COMMAND \":\\\"\${word}\\\"\")
  message(STATUS \"Installing: \$ENV{DESTDIR}\${unit}\")
  configure_file(\"${TARVEL_SERVICE_TEMPLATE}\" \"\$ENV{DESTDIR}\${unit}\" @ONLY
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${unit}\")
")
