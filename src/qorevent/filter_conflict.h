// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_FILTER_CONFLICT_H
#define QOR_QOREVENT_FILTER_CONFLICT_H

#include "src/common/filters.h"

namespace qor::qorevent {

/// Whether a filter names one distance (local, network, cross). The default, every distance, is no choice. As the rest
/// of this header for any thread.
bool IsDistanceChosen(const EventFilter& filter);

/// A distance says how subscribers reach a publisher, so it can be chosen among publishers only. True, with a line in
/// the log, when one was chosen for another role. `isDistanceChosen` is the caller's: a user who types "all" chose.
bool RefusesQueryAll(RoleType role, bool isDistanceChosen);
bool RefusesQueryAllWithNamespace(RoleType role, bool isDistanceChosen);

}  // namespace qor::qorevent

#endif
