// SPDX-License-Identifier: Apache-2.0
#include "src/datatype/definition_query.h"

#include <utility>
#include <vector>

#include "platform/log/qor_log.h"
#include "src/common/query.h"
#include "src/common/records/query.h"
#include "src/common/tools_common_client_manager.h"

namespace qor::datatype {

bool QueryAllDefinitions(DefinitionTexts& texts) {
  const QorLog log("QorDatatypeManager");
  const auto proxies = qortools::common::ToolsCommonClientManager::GetInstance()->GetCurrentProxyList();
  const auto answers = common::AskEach(
      proxies, [](auto& daemon) { return daemon.QueryAllDataType(); },
      [&](auto&) { log.Warn() << "Disconnect to Maintaind in QueryAllDefinitions()."; },
      [&](auto&) { log.Warn() << "Get result from Maintaind failed in QueryAllDefinitions()."; },
      [&](auto&, std::vector<maintaind::DataTypeInfo>&& types) {
        for (maintaind::DataTypeInfo& type : types) {
          texts.emplace(std::move(type.name), std::move(type.definitionJson));
        }
      });
  return answers.IsAny();
}

std::string QueryDefinition(const std::string& name) {
  const QorLog log("QorDatatypeManager");
  std::string definition;
  const auto proxies = qortools::common::ToolsCommonClientManager::GetInstance()->GetCurrentProxyList();
  common::AskEach(
      proxies, [&](auto& daemon) { return daemon.QueryDataType(name); },
      [&](auto&) { log.Warn() << "Disconnect to Maintaind in QueryDefinition()."; },
      [&](auto&) { log.Warn() << "Get result from Maintaind failed in QueryDefinition()."; },
      [&](auto&, maintaind::DataTypeInfo&& type) {
        definition = definition.empty() ? std::move(type.definitionJson) : definition;
      });
  return definition;
}

}  // namespace qor::datatype
