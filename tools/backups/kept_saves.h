#pragma once

#include <string>

#include "platform/file_manager.h"
#include "tools/terminal/message.h"

namespace tarvel {

class Answer;

/// What to say of another program's save that a sort displaced, with the command that shows how it differs and puts it
/// back.
[[nodiscard]] Message messageOfKeptSave(const std::string& savePath, const std::string& bookmarksPath);

/// Names each of them. The field "keptSaves" has their paths.
void sayKeptSaves(Answer& answer, FileManager& files, const std::string& bookmarksPath);

}  // namespace tarvel
