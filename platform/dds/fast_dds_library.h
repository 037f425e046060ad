// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DDS_FAST_DDS_LIBRARY_H
#define QOR_DDS_FAST_DDS_LIBRARY_H

namespace eprosima::fastdds::dds {
class DomainParticipantFactory;
}

namespace qor::dds {

/// The Fast DDS library of this process, set up on the first call (any thread): its log goes to QorLog instead of
/// stdout, and samples between participants of this process take the transports like all others, so that handlers
/// always run on receive threads and never inside a Write. What killed programs left in /dev/shm is removed. The
/// factory is kept for ever: participants that an exiting program left behind must not outlive it.
eprosima::fastdds::dds::DomainParticipantFactory& FastDdsFactory();

}  // namespace qor::dds

#endif
