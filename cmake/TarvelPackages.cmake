# Debian packages, made by cpack. The update checker, the only program that uses the network, has a package of its own, so
# that it can be left out.

set(TARVEL_PACKAGER "Tarvel maintainers <maintainers@tarvel.example>" CACHE STRING "Maintainer of the packages")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tarvel)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}")
set(CPACK_STRIP_FILES ON)
# Installed folders are readable by all users, for any umask of the builder.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/packaging/debian/prepare.cmake")
set(CPACK_TARVEL_SOURCE_DIR "${PROJECT_SOURCE_DIR}")

# The first line of each package's description is its summary.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL application updates browsers library development)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${TARVEL_PACKAGER}")
# Lower than any release of the distribution's own packages.
set(CPACK_DEBIAN_PACKAGE_RELEASE 0tarvel1)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(same "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

set(CPACK_DEBIAN_APPLICATION_PACKAGE_NAME tarvel)
set(CPACK_DEBIAN_APPLICATION_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_APPLICATION_PACKAGE_SUGGESTS tarvel-update-check)
set(CPACK_DEBIAN_APPLICATION_DESCRIPTION "sort Safari bookmarks, by hand or in the background
A command that cleans and orders a bookmarks file, previews the changes and
can undo them; and an agent that does the same some seconds after each
change of the file, as a user service.

The agent is off until a user turns it on.")

set(CPACK_DEBIAN_UPDATES_PACKAGE_NAME tarvel-update-check)
set(CPACK_DEBIAN_UPDATES_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_UPDATES_PACKAGE_DEPENDS "tarvel ${same}")
set(CPACK_DEBIAN_UPDATES_PACKAGE_RECOMMENDS ca-certificates)
set(CPACK_DEBIAN_UPDATES_DESCRIPTION "check for newer versions of Tarvel
A small program that the agent of Tarvel starts, if the user agrees, to
check a feed for a newer version. Without it there are no update checks.")

set(CPACK_DEBIAN_BROWSERS_PACKAGE_NAME webext-tarvel)
set(CPACK_DEBIAN_BROWSERS_PACKAGE_SECTION web)
set(CPACK_DEBIAN_BROWSERS_PACKAGE_DEPENDS "tarvel ${same}")
set(CPACK_DEBIAN_BROWSERS_PACKAGE_RECOMMENDS "chromium | firefox-esr")
set(CPACK_DEBIAN_BROWSERS_DESCRIPTION "sort bookmarks in Chromium and Firefox while they run
An extension for both browsers, for all users. It shows what a sort would
change, sorts, cleans up and undoes that exactly, and sorts by itself once
its user turns that on. It works through the browsers' own interface for
bookmarks; a program of Tarvel decides what is to be changed.")
# The administrator may change which host Chromium starts. Firefox reads its manifest from below /usr.
file(WRITE "${PROJECT_BINARY_DIR}/packages/conffiles"
  "/etc/chromium/native-messaging-hosts/org.tarvel.browser_host.json\n")
set(CPACK_DEBIAN_BROWSERS_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/packages/conffiles")
set(CPACK_TARVEL_BROWSER_HOST "/usr/${TARVEL_BUNDLES_DESTINATION}/tarvel-browser-host")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libtarvel${PROJECT_VERSION_MAJOR})
# The dependency of packages that use the library, and the trigger for the linker's cache.
file(WRITE "${PROJECT_BINARY_DIR}/packages/shlibs"
  "libtarvel ${PROJECT_VERSION_MAJOR} ${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (>= ${PROJECT_VERSION})\n")
file(WRITE "${PROJECT_BINARY_DIR}/packages/triggers" "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
  "${PROJECT_BINARY_DIR}/packages/shlibs;${PROJECT_BINARY_DIR}/packages/triggers")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "sort Safari bookmarks files - shared library
Reads, checks, cleans, orders, backs up and writes bookmarks files, and
reads and writes property lists in the binary and the XML form.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtarvel-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} ${same}")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "sort Safari bookmarks files - development files
The C++20 headers of libtarvel, and its files for CMake and pkg-config.")

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER "${component}" name)
  list(APPEND CPACK_TARVEL_PACKAGES "${component}=${CPACK_DEBIAN_${name}_PACKAGE_NAME}")
endforeach()
include(CPack)
