#include "tests/support/launching_fixture.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <system_error>

#include "tests/support/child_process.h"

namespace tarvel {

namespace {

namespace fs = std::filesystem;

constexpr std::array<const char*, 6> kVariables = {"TARVEL_RECORD",   "HOME",          "XDG_DATA_HOME",
                                                   "XDG_RUNTIME_DIR", "XDG_DATA_DIRS", "DBUS_SESSION_BUS_ADDRESS"};

Notes notesFrom(const fs::path& path) {
  Notes notes;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    const std::size_t space = line.find_first_of(" \t");
    if (space == std::string::npos) continue;
    const std::string name = line.substr(0, space);
    const std::string value = line.substr(std::min(line.find_first_not_of(" \t", space), line.size()));
    if (name == "argument") {
      notes.arguments.push_back(value);
    } else if (name == "descriptor") {
      notes.descriptors.push_back(value);
    } else if (name == "environment") {
      const std::size_t equals = std::min(value.find('='), value.size());
      notes.environment[value.substr(0, equals)] = value.substr(std::min(equals + 1, value.size()));
    } else {
      notes.facts[name] = value;
    }
  }
  return notes;
}

std::string linkTarget(const std::string& path) {
  std::error_code error;
  return fs::read_symlink(path, error).string();
}

}  // namespace

Launching::Launching() {
  for (const char* name : kVariables) {
    if (const char* value = std::getenv(name)) previousEnvironment_[name] = value;
  }
  ::setenv("TARVEL_RECORD", directory.path().c_str(), 1);
  ::setenv("HOME", directory.path().c_str(), 1);
  ::setenv("XDG_DATA_HOME", directory.path("data").c_str(), 1);
  ::setenv("XDG_DATA_DIRS", directory.path("shared").c_str(), 1);
  ::setenv("XDG_RUNTIME_DIR", directory.path().c_str(), 1);
  ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

Launching::~Launching() {
  directory.write("quit", "");
  for (const Notes& one : notes()) {
    const std::string process = "/proc/" + one.facts.at("pid");
    (void)turnUntil([&] { return linkTarget(process + "/exe").empty(); });
  }
  EXPECT_TRUE(turnUntil([] { return !hasChildren(); }));
  for (const char* name : kVariables) {
    const auto previous = previousEnvironment_.find(name);
    if (previous == previousEnvironment_.end()) {
      ::unsetenv(name);
    } else {
      ::setenv(name, previous->second.c_str(), 1);
    }
  }
}

std::vector<Notes> Launching::notes() const {
  std::vector<Notes> all;
  for (const auto& entry : fs::directory_iterator(directory.path())) {
    if (entry.path().extension() == ".notes") all.push_back(notesFrom(entry.path()));
  }
  return all;
}

Notes Launching::waitForNotes() {
  EXPECT_TRUE(turnUntil([this] { return !notes().empty(); }));
  return notes().empty() ? Notes() : notes().front();
}

std::map<std::string, std::string> Launching::linesOf(const std::string& name) const {
  std::map<std::string, std::string> lines;
  std::ifstream file(directory.path(name));
  for (std::string line; std::getline(file, line);) {
    const std::size_t space = std::min(line.find(' '), line.size());
    lines[line.substr(0, space)] = line.substr(std::min(space + 1, line.size()));
  }
  return lines;
}

std::string Launching::program(const std::string& name) const {
  fs::create_directories(fs::path(directory.path(name)).parent_path());
  // A running program cannot be overwritten (ETXTBSY).
  fs::remove(directory.path(name));
  fs::copy_file(TARVEL_LAUNCH_RECORDER, directory.path(name));
  return directory.path(name);
}

std::string Launching::bundle(const std::string& executable) const {
  fs::create_directories(directory.path("Tarvel.app/Contents/Linux"));
  directory.write("Tarvel.app/Contents/Info.plist",
                  "<plist><dict><key>CFBundleExecutable</key><string>" + executable + "</string></dict></plist>");
  return directory.path("Tarvel.app");
}

void Launching::writeDesktopFile(const std::string& name, const std::string& entries) const {
  fs::create_directories(fs::path(directory.path(name)).parent_path());
  directory.write(name, "[Desktop Entry]\nType=Application\nName=x\n" + entries);
}

}  // namespace tarvel
