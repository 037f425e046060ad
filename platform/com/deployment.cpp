// SPDX-License-Identifier: Apache-2.0
#include "platform/com/deployment.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <system_error>
#include <utility>

#include "platform/com/deployment_faults.h"
#include "platform/com/deployment_services.h"
#include "platform/com/deployment_types.h"
#include "platform/com/json_locator.h"

namespace qor::com {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr const char* kSystemDirectory = "/etc/qor/deployment";
constexpr std::uintmax_t kMaxFileSize = 16U << 20U;

/// One file while the folder is being read: which types it mentions is known at once, whether they exist at the end.
struct OpenFile {
  std::string path;
  JsonLocator locator;
  DeploymentFaults faults;
  std::vector<TypeMention> mentions;
};

class FolderReader {
 public:
  explicit FolderReader(Deployment& result) : result_(result) {}

  void Read(const std::string& directory) {
    std::error_code error;
    if (!fs::is_directory(directory, error)) {
      AddFault(directory, "expected a folder with types/ and services/");
      return;
    }
    for (const fs::path& path : JsonFilesIn(fs::path(directory) / "types")) {
      Load(path, [this](OpenFile& file) { ReadTypes(file); });
    }
    for (const fs::path& path : JsonFilesIn(fs::path(directory) / "services")) {
      Load(path, [this](OpenFile& file) {
        ReadServices(file.locator.Root(), file.path, file.faults, names_, file.mentions, result_);
      });
    }
    for (OpenFile& file : files_) {
      CheckMentions(file);
      file.faults.Finish(file.path, file.locator, result_.faults);
    }
  }

 private:
  std::vector<fs::path> JsonFilesIn(const fs::path& directory) {
    std::vector<fs::path> paths;
    std::error_code error;
    if (!fs::exists(directory, error)) {
      return paths;
    }
    for (fs::directory_iterator entry(directory, error), end; !error && entry != end; entry.increment(error)) {
      if (entry->path().extension() == ".json") {
        paths.push_back(entry->path());
      }
    }
    if (error) {
      AddFault(directory.string(), "cannot be read: " + error.message());
    }
    std::sort(paths.begin(), paths.end());
    return paths;
  }

  template <class ReadContent>
  void Load(const fs::path& path, const ReadContent& readContent) {
    std::optional<std::string> text = ReadText(path);
    if (!text) {
      return;
    }
    OpenFile file{path.string(), JsonLocator(std::move(*text)), {}, {}};
    if (file.locator.Parse()) {
      readContent(file);
    }
    files_.push_back(std::move(file));
  }

  std::optional<std::string> ReadText(const fs::path& path) {
    std::error_code error;
    if (!fs::is_regular_file(path, error)) {
      AddFault(path.string(), "expected a file");
      return std::nullopt;
    }
    const std::uintmax_t size = fs::file_size(path, error);
    if (!error && size > kMaxFileSize) {
      AddFault(path.string(), "larger than 16 MiB");
      return std::nullopt;
    }
    std::ifstream stream(path, std::ios::binary);
    std::string text(error ? 0 : static_cast<std::size_t>(size), '\0');
    if (error || !stream.read(text.data(), static_cast<std::streamsize>(text.size()))) {
      AddFault(path.string(), "cannot be read");
      return std::nullopt;
    }
    return text;
  }

  void ReadTypes(OpenFile& file) {
    const Json& root = file.locator.Root();
    if (!root.is_array()) {
      ReadType(file, root, "");
      return;
    }
    for (std::size_t i = 0; i < root.size(); ++i) {
      ReadType(file, root[i], PointerTo("", i));
    }
  }

  void ReadType(OpenFile& file, const Json& definition, const std::string& pointer) {
    const std::string name = CheckTypeDefinition(definition, pointer, file.faults, file.mentions);
    if (name.empty()) {
      return;
    }
    const auto [origin, isNew] = typeOrigins_.try_emplace(name, file.path);
    if (!isNew) {
      file.faults.Error(PointerTo(pointer, "ShortName"),
                        "\"" + name + "\" is defined already, in " + origin->second + "; the first one counts");
      return;
    }
    result_.types[name] = definition.dump();
  }

  void CheckMentions(OpenFile& file) const {
    for (const TypeMention& mention : file.mentions) {
      if (!IsPrimitiveType(mention.name) && !result_.types.contains(mention.name)) {
        file.faults.Notice(mention.pointer, "no type \"" + mention.name + "\" is defined in types/");
      }
    }
  }

  void AddFault(const std::string& file, const std::string& message) {
    result_.faults.push_back(DeploymentFault{file, 0, "", message});
  }

  Deployment& result_;
  std::vector<OpenFile> files_;
  DefinedNames names_;
  std::map<std::string, std::string> typeOrigins_;
};

}  // namespace

Deployment LoadDeployment(const std::string& directory) {
  Deployment result;
  FolderReader(result).Read(directory);
  return result;
}

std::string FaultText(const DeploymentFault& fault) {
  std::string text = fault.file;
  if (fault.line != 0) {
    text += ":" + std::to_string(fault.line);
  }
  if (!fault.key.empty()) {
    text += ": " + fault.key;
  }
  return text + ": " + fault.message;
}

std::string DeploymentDirectory() {
  if (const char* chosen = std::getenv("QOR_DEPLOYMENT_DIR"); chosen != nullptr && *chosen != '\0') {
    return chosen;
  }
  std::error_code error;
  return fs::is_directory(kSystemDirectory, error) ? kSystemDirectory : "";
}

}  // namespace qor::com
