// sort_file FILE: puts a Safari bookmarks file in order, with a copy beside it the first time.

#include <engine/tarvel.h>
#include <platform/system_platform.h>

#include <iostream>

int main(int argc, char** argv) {
  if (argc != 2) return 64;
  const tarvel::SystemPlatform system;
  tarvel::Tarvel tarvel(system.platform());
  tarvel.setArrangeFoldersAtTop(true);
  tarvel.setRemoveDuplicates(true);
  tarvel.setRenameSamenamed(true);
  tarvel.setWriteBackupFile(true);
  tarvel.setBookmarksFilename(argv[1]);
  const tarvel::TarvelError error = tarvel.sortBookmarks();
  tarvel::Bundle& texts = system.platform().bundle;
  std::cout << tarvel::Tarvel::stringFromTarvelErrorAndFilename(texts, error, argv[1]) << "\n";
  return error;
}
