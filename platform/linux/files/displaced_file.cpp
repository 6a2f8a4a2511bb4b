#include "platform/linux/files/displaced_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <ctime>

#include "platform/linux/base/open_folder.h"
#include "platform/linux/files/file_io.h"
#include "platform/linux/files/open_writers.h"
#include "platform/linux/files/temporary_file.h"

namespace tarvel {

namespace {

constexpr std::string_view kDisplacedPrefix = ".tarvel-displaced-";
constexpr std::size_t kDigits = 16;
/// Target, version read, own version, random number.
constexpr std::size_t kFields = 4;
/// How long a displaced file is kept if its writers cannot be determined.
constexpr std::time_t kLongestUnseenWriter = 3600;

std::string digest(std::string_view text) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char byte : text) {
    hash ^= static_cast<unsigned char>(byte);
    hash *= 0x100000001b3;
  }
  std::array<char, kDigits + 1> digits{};
  (void)std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(hash));
  return digits.data();
}

/// Leaves out the device number, which may change at each boot, and the ctime, which a rename changes.
std::string digest(const FileVersion& version) {
  return digest(std::to_string(version.file) + " " + std::to_string(version.size) + " " +
                std::to_string(version.date.seconds) + " " + std::to_string(version.date.nanoseconds));
}

/// A displaced file, kept open while it is checked.
struct HeldFile {
  std::optional<FileVersion> version;
  Writers writers = Writers::kUnknown;
};

HeldFile hold(int folder, const std::string& name) {
  const UniqueFd fd(::openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!fd) return {};
  const std::optional<FileVersion> version = versionOf(fd.get());
  return version ? HeldFile{version, writersOf(fd.get())} : HeldFile{};
}

/// Whether an undetectable writer is possible: for some time after the exchange, whose time is the ctime.
bool mayHaveUnseenWriter(const FileVersion& version) {
  return std::time(nullptr) - version.inodeDate.seconds < kLongestUnseenWriter;
}

bool isOwn(const std::optional<FileVersion>& version, const DisplacedName& name) {
  return version && digest(*version) == name.own;
}

bool isRead(const std::optional<FileVersion>& version, const DisplacedName& name) {
  return version && digest(*version) == name.read;
}

Settlement keep(int code) {
  errno = code;
  return Settlement::kKept;
}

bool exchange(const FilePlace& place, const std::string& displaced) {
  const int folder = place.folder.get();
  return ::renameat2(folder, displaced.c_str(), folder, place.name.c_str(), RENAME_EXCHANGE) == 0;
}

/// The file now at the displaced file's original path.
struct Current {
  std::optional<FileVersion> version;
  /// Whether that path has no regular file of ours or another program's.
  bool isGone = false;
};

Current currentOf(const FilePlace& place) {
  const std::optional<FileVersion> version = versionOf(place.folder.get(), place.name);
  return {version, !version && (errno == ENOENT || errno == EINVAL)};
}

/// What to do with a displaced file.
enum class Verdict { kRemove, kPutBack, kKeep };

Verdict judge(const HeldFile& held, const Current& current, const DisplacedName& name) {
  if (isOwn(held.version, name)) return Verdict::kRemove;
  const bool wasRead = isRead(held.version, name);
  if (wasRead && held.writers == Writers::kNone) return Verdict::kRemove;
  if (wasRead && held.writers == Writers::kUnknown) {
    return mayHaveUnseenWriter(*held.version) ? Verdict::kKeep : Verdict::kRemove;
  }
  if (current.isGone) return Verdict::kKeep;
  // If the current file cannot be checked, put the displaced one back, after which it can be.
  if (!current.version || isOwn(current.version, name)) return Verdict::kPutBack;
  // Of two saves the newer one gets the path.
  const bool isNewer = held.version && !wasRead && current.version->date < held.version->date;
  return isNewer ? Verdict::kPutBack : Verdict::kKeep;
}

}  // namespace

std::string makeDisplacedName(const std::string& target, const FileVersion& read, const FileVersion& own) {
  const std::string random = randomDigits();
  if (random.empty()) return {};
  return std::string(kDisplacedPrefix) + digest(target) + "-" + digest(read) + "-" + digest(own) + "-" + random;
}

std::optional<DisplacedName> parseDisplacedName(std::string_view name) {
  if (!name.starts_with(kDisplacedPrefix)) return std::nullopt;
  name.remove_prefix(kDisplacedPrefix.size());
  if (name.size() != kFields * (kDigits + 1) - 1) return std::nullopt;
  std::array<std::string, kFields> fields;
  for (std::size_t i = 0; i < kFields; ++i) {
    const std::size_t start = i * (kDigits + 1);
    fields[i] = name.substr(start, kDigits);
    const bool isSeparated = i == 0 || name[start - 1] == '-';
    if (!isSeparated || fields[i].find_first_not_of("0123456789abcdef") != std::string::npos) return std::nullopt;
  }
  return DisplacedName{fields[0], fields[1], fields[2]};
}

bool comesFrom(const DisplacedName& displaced, const std::string& target) { return displaced.target == digest(target); }

Settlement settle(const FilePlace& place, const std::string& displaced) {
  constexpr int kMostSaves = 20;
  const std::optional<DisplacedName> name = parseDisplacedName(displaced);
  const int folder = place.folder.get();
  for (int i = 0; name && i < kMostSaves; ++i) {
    const HeldFile held = hold(folder, displaced);
    const int code = held.version ? 0 : errno;
    const Current current = currentOf(place);
    const Settlement outcome = isOwn(current.version, *name) ? Settlement::kReplaced : Settlement::kPutBack;
    // Another process has settled it.
    if (code == ENOENT) return outcome;
    switch (judge(held, current, *name)) {
      case Verdict::kRemove:
        // If this fails, the next process removes it.
        (void)::unlinkat(folder, displaced.c_str(), 0);
        return isRead(held.version, *name) ? Settlement::kReplaced : Settlement::kPutBack;
      case Verdict::kKeep:
        return isRead(held.version, *name) ? outcome : keep(code);
      case Verdict::kPutBack:
        if (!exchange(place, displaced)) return keep(errno);
    }
  }
  return keep(0);
}

std::vector<std::string> keptSavesOf(const FilePlace& place) {
  std::vector<std::string> paths;
  for (const std::string& entry : entriesOf(place.folder.get())) {
    const std::optional<DisplacedName> name = parseDisplacedName(entry);
    if (!name || !comesFrom(*name, place.name)) continue;
    const std::optional<FileVersion> version = versionOf(place.folder.get(), entry);
    if (version && !isOwn(version, *name) && !isRead(version, *name))
      paths.push_back(pathInFolder(place.folder.get(), entry));
  }
  return paths;
}

}  // namespace tarvel
