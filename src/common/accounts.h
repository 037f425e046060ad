// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_ACCOUNTS_H
#define QOR_COMMON_ACCOUNTS_H

#include <sys/types.h>

#include <optional>
#include <string>

/// The accounts of this host. Any thread.
namespace qor::common {

/// The account's name; the number itself as text when there is no such account.
std::string Uid2Name(uid_t uid);
std::string Gid2Name(gid_t gid);

/// The account's number. Nothing when there is no such account.
std::optional<uid_t> Name2Uid(const std::string& name);
std::optional<gid_t> Name2Gid(const std::string& name);

/// The account for files and resources, as "user:group": the caller's own, or for root the one that the resource
/// configuration names as owner. `fileOwner` may be empty; for root that gives an empty result: nothing is handed over.
/// The process itself keeps its user and group, which are shared by all its threads.
std::string OwnerFor(uid_t uid, gid_t gid, const std::string& fileOwner);

}  // namespace qor::common

#endif
