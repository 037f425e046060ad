// SPDX-License-Identifier: Apache-2.0
#include "platform/com/deployment_services.h"

#include <algorithm>
#include <functional>

#include "platform/com/deployment_bindings.h"
#include "platform/com/deployment_serialization.h"

namespace qor::com {
namespace {

using Json = DeploymentReader::Json;
using maintaind::DriverType;

constexpr std::size_t kMaxNameLength = 5000;

bool IsDigit(char character) { return character >= '0' && character <= '9'; }

/// Reads the services of one file.
class ServiceFile {
 public:
  ServiceFile(const std::string& file, DefinedNames& names, std::vector<TypeMention>& mentions, Deployment& result)
      : file_(file), names_(names), mentions_(mentions), result_(result) {}

  void ReadService(DeploymentReader& reader) {
    const std::size_t before = reader.Faults().ErrorCount();
    maintaind::ServiceRegisterInfo info;
    ReadIdentity(reader, info.serviceName, info.uuid);
    reader.Read("application", info.applicationName);
    const ServiceBindings bindings = ReadServiceBindings(reader);
    SetBindings(bindings, info);
    isUsable_ = reader.Faults().ErrorCount() == before && Define(reader, names_.services, info.serviceName, info.uuid);
    ForEach(reader, "events", [&](DeploymentReader& entry) { ReadEvent(entry, bindings, info); });
    ForEach(reader, "methods", [&](DeploymentReader& entry) { ReadMethod(entry, bindings, info); });
    ForEach(reader, "fields", [&](DeploymentReader& entry) { ReadField(entry, bindings, info); });
    reader.Finish();
    if (isUsable_) {
      result_.services.push_back(std::move(info));
    }
  }

  static void ForEach(DeploymentReader& parent, std::string_view key,
                      const std::function<void(DeploymentReader&)>& read) {
    const Json* list = parent.Find(key);
    if (list == nullptr) {
      return;
    }
    if (!list->is_array()) {
      parent.Faults().Error(parent.PointerOf(key), "expected a list");
      return;
    }
    for (std::size_t i = 0; i < list->size(); ++i) {
      DeploymentReader entry((*list)[i], PointerTo(parent.PointerOf(key), i), parent.Faults());
      read(entry);
    }
  }

 private:
  void ReadEvent(DeploymentReader& reader, const ServiceBindings& service, maintaind::ServiceRegisterInfo& owner) {
    const std::size_t before = reader.Faults().ErrorCount();
    maintaind::EventRegisterInfo info;
    info.applicationName = owner.applicationName;
    ReadIdentity(reader, info.eventName, info.uuid);
    ReadSerialization(reader, info.serializeConfig);
    ReadType(reader, info.serializeConfig, info.dataTypeName);
    reader.Read("resource", info.resource);
    info.bindings = ReadEventBindings(reader, service, info.dataTypeName);
    reader.Finish();
    if (isUsable_ && reader.Faults().ErrorCount() == before &&
        Define(reader, names_.events, info.eventName, info.uuid)) {
      owner.eventNames.push_back(info.eventName);
      result_.events.push_back(std::move(info));
    }
  }

  void ReadMethod(DeploymentReader& reader, const ServiceBindings& service, maintaind::ServiceRegisterInfo& owner) {
    const std::size_t before = reader.Faults().ErrorCount();
    maintaind::MethodRegisterInfo info;
    info.applicationName = owner.applicationName;
    ReadIdentity(reader, info.methodName, info.uuid);
    reader.Read("inputs", info.inputTypeNames);
    reader.Read("output", info.outputTypeName);
    ReadSerialization(reader, info.serializeConfig);
    reader.Read("resource", info.resource);
    for (std::size_t i = 0; i < info.inputTypeNames.size(); ++i) {
      mentions_.push_back({PointerTo(reader.PointerOf("inputs"), i), info.inputTypeNames[i]});
    }
    if (!info.outputTypeName.empty()) {
      mentions_.push_back({reader.PointerOf("output"), info.outputTypeName});
    }
    info.bindings = ReadMethodBindings(reader, service);
    reader.Finish();
    if (isUsable_ && reader.Faults().ErrorCount() == before &&
        Define(reader, names_.methods, info.methodName, info.uuid)) {
      owner.methodNames.push_back(info.methodName);
      result_.methods.push_back(std::move(info));
    }
  }

  void ReadField(DeploymentReader& reader, const ServiceBindings& service, maintaind::ServiceRegisterInfo& owner) {
    const std::size_t before = reader.Faults().ErrorCount();
    maintaind::FieldRegisterInfo info;
    info.applicationName = owner.applicationName;
    ReadIdentity(reader, info.fieldName, info.uuid);
    ReadSerialization(reader, info.serializeConfig);
    ReadType(reader, info.serializeConfig, info.dataTypeName);
    reader.Read("resource", info.resource);
    info.bindings = ReadFieldBindings(reader, service, info.dataTypeName);
    reader.Finish();
    if (isUsable_ && reader.Faults().ErrorCount() == before &&
        Define(reader, names_.fields, info.fieldName, info.uuid)) {
      owner.fieldNames.push_back(info.fieldName);
      result_.fields.push_back(std::move(info));
    }
  }

  /// Tools tell entities of one name apart by "<name>[<uuid>]", so a name has no brackets.
  static void ReadIdentity(DeploymentReader& reader, std::string& name, std::string& uuid) {
    const bool hasName = reader.ReadName("name", name);
    if (hasName && (name.size() > kMaxNameLength || name.find_first_of("[]") != std::string::npos)) {
      reader.Faults().Error(reader.PointerOf("name"),
                            "expected a name without brackets of at most " + std::to_string(kMaxNameLength) + " bytes");
    }
    if (reader.Read("uuid", uuid) && !std::ranges::all_of(uuid, IsDigit)) {
      reader.Faults().Error(reader.PointerOf("uuid"), "expected decimal digits in a text");
    }
  }

  /// A PDU brings its layout along, so its type needs no definition.
  void ReadType(DeploymentReader& reader, const maintaind::SerializeConfig& config, std::string& name) {
    const bool isPdu = config.type == maintaind::SerializationType::kPdu;
    if (reader.Read("type", name) && !name.empty() && !isPdu) {
      mentions_.push_back({reader.PointerOf("type"), name});
    }
  }

  bool Define(DeploymentReader& reader, DefinedNames::Names& names, const std::string& name, const std::string& uuid) {
    const auto [entry, isNew] = names.try_emplace({name, uuid}, file_);
    if (!isNew) {
      reader.Faults().Error(reader.PointerOf("name"),
                            "\"" + name + "\" is defined already, in " + entry->second + "; the first one counts");
    }
    return isNew;
  }

  template <class Binding>
  static void SetBinding(const Binding& binding, maintaind::ServiceInfo& info) {
    info.serviceId = binding.serviceId;
    info.instanceId = binding.instanceId;
    info.networkIp = binding.networkIp;
    info.subnetMask = binding.subnetMask;
    info.majorVersion = binding.majorVersion;
    info.minorVersion = binding.minorVersion;
  }
  static void SetBindings(const ServiceBindings& bindings, maintaind::ServiceRegisterInfo& info) {
    if (bindings.dds) {
      SetBinding(*bindings.dds, info.bindings[DriverType::kDds]);
      info.bindings[DriverType::kDds].domainId = bindings.dds->domainId;
    }
    if (bindings.someip) {
      SetBinding(*bindings.someip, info.bindings[DriverType::kSomeip]);
    }
  }

  const std::string& file_;
  DefinedNames& names_;
  std::vector<TypeMention>& mentions_;
  Deployment& result_;
  bool isUsable_ = false;  ///< of the service that is being read; its entities go down with it
};

}  // namespace

void ReadServices(const Json& root, const std::string& file, DeploymentFaults& faults, DefinedNames& names,
                  std::vector<TypeMention>& mentions, Deployment& result) {
  DeploymentReader reader(root, "", faults);
  reader.Require("services");
  ServiceFile::ForEach(reader, "services",
                       [&](DeploymentReader& entry) { ServiceFile(file, names, mentions, result).ReadService(entry); });
  reader.Finish();
}

}  // namespace qor::com
