// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_TYPE_CATALOG_H
#define QOR_MAINTAIND_DAEMON_TYPE_CATALOG_H

#include <map>
#include <string>
#include <vector>

#include "src/common/records/query.h"

namespace qor::maintaind {

/// The deployed data type definitions and which of them each one refers to. Unchanged after construction.
class TypeCatalog {
 public:
  TypeCatalog() = default;
  /// By short name, as JSON texts.
  explicit TypeCatalog(std::map<std::string, std::string> definitions);

  /// The definition; empty when none is deployed.
  const std::string& Definition(const std::string& name) const;
  /// All, in the order of their names.
  std::vector<DataTypeInfo> All() const;
  /// Each type with the deployed types that its definition names.
  std::vector<DataTypeRef> References() const;
  /// A JSON array of the definitions that `names` lead to, directly or not, without those of `names` themselves.
  std::string ReferencedDefinitions(const std::vector<std::string>& names) const;

 private:
  struct Type {
    std::string definition;
    std::vector<std::string> references;
  };

  std::map<std::string, Type> types_;
};

}  // namespace qor::maintaind

#endif
