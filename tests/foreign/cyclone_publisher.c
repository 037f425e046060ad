// SPDX-License-Identifier: Apache-2.0
// A program of a second DDS implementation, with a keyed topic, over UDP on 127.0.0.1 only.
//
//   cyclone_publisher DOMAIN TOPIC RATE_HZ
#include <dds/dds.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include "Counter.h"

static const char kLoopbackOnly[] =
    "<Domain><General><Interfaces><NetworkInterface address=\"127.0.0.1\"/></Interfaces>"
    "<AllowMulticast>false</AllowMulticast></General>"
    "<Discovery><ParticipantIndex>auto</ParticipantIndex><MaxAutoParticipantIndex>60</MaxAutoParticipantIndex>"
    "<Peers><Peer address=\"127.0.0.1\"/></Peers><LeaseDuration>4s</LeaseDuration></Discovery></Domain>";

int main(int argc, char** argv) {
  if (argc < 4) {
    fprintf(stderr, "usage: %s DOMAIN TOPIC RATE_HZ\n", argv[0]);
    return 2;
  }
  const dds_domainid_t domain = (dds_domainid_t)atoi(argv[1]);
  const long rate = atol(argv[3]) > 0 ? atol(argv[3]) : 1;
  if (dds_create_domain(domain, kLoopbackOnly) < 0) {
    return 1;
  }
  const dds_entity_t participant = dds_create_participant(domain, NULL, NULL);
  const dds_entity_t topic = dds_create_topic(participant, &foreign_Counter_desc, argv[2], NULL, NULL);
  const dds_entity_t writer = dds_create_writer(participant, topic, NULL, NULL);
  if (writer < 0) {
    return 1;
  }
  struct timespec due;
  clock_gettime(CLOCK_MONOTONIC, &due);
  foreign_Counter sample = {1, 0};
  for (;;) {
    sample.value++;
    dds_write(writer, &sample);
    due.tv_nsec += 1000000000L / rate;
    if (due.tv_nsec >= 1000000000L) {
      due.tv_nsec -= 1000000000L;
      due.tv_sec++;
    }
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &due, NULL);
  }
}
