// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_MERGE_H
#define QOR_COMMON_MERGE_H

#include <cstddef>
#include <vector>

/// Joins what several daemons report about one entity. Every step walks the list from the front and keeps its order; a
/// record that is merged away appends its consumers, in their order and with duplicates, to the record that absorbs it,
/// and the records behind it move up. "Equal" is IsSameEntity (entity_key.h), asked with the bindings of the record
/// that is to be merged away. The time grows with the length of the list, not with its square: records are looked up by
/// key.
///
/// MergeEntities is there for the records of events, methods, fields and services, the single steps for those families
/// whose tools take them one by one. Any thread; the list belongs to the caller.
namespace qor::common {

/// All steps, one after the other. Leaves one record per entity and provider.
template <class Record>
void MergeEntities(std::vector<Record>& list);

/// A record without an online provider goes to the first equal record with one.
template <class Record>
void MergePubSubs(std::vector<Record>& list);

/// A record without a provider goes to the first equal record with an offline provider.
template <class Record>
void MergeOffPubSubs(std::vector<Record>& list);

/// A record without a provider whose transports do not begin with UDP goes to the first record with a provider that
/// agrees in all but the network: a consumer on a local transport is reported with its own daemon's address. Services
/// have no transports, so nothing happens to them.
template <class Record>
void MergeNoneNetworkSubs(std::vector<Record>& list);

/// Joins what has no online provider: each record takes in the later ones that equal it.
template <class Record>
void MergeNoPub(std::vector<Record>& list);

/// The step of MergeNoPub for the record at `index` alone, which must be without an online provider to have an effect.
template <class Record>
void MergeNoPubSubs(std::size_t index, std::vector<Record>& list);

}  // namespace qor::common

#endif
