#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# What the demo vehicle sends by SOME/IP, read by a program that others wrote: captures its traffic on one host's loopback
# and between two hosts (network namespaces, which end with this script) and has tshark dissect it. Fails when a packet
# is malformed or a kind of packet is missing; ends with 77 where there can be no capture.
#
#     tests/dissect.sh FOLDER_OF_THE_PROGRAMS
set -euo pipefail

readonly bin=$1
deployment=$(dirname "${BASH_SOURCE[0]}")/../demo/deployment
readonly deployment
readonly addresses=(10.78.0.1 10.78.0.2)
readonly services=/chassis/yaw_rate,/chassis/brake,/camera/front/points
readonly seconds=4

skip() {
  echo "skipped: $*"
  exit 77
}
fail() {
  echo "FAILED: $*" >&2
  exit 1
}

work=$(mktemp -d)
pids=()
# shellcheck disable=SC2317 # called by the trap
finish() {
  trap - EXIT
  if ((${#pids[@]} > 0)); then
    kill "${pids[@]}" 2>/dev/null || true
    # Whatever does not end by itself.
    (sleep 5 && kill -KILL "${pids[@]}") >/dev/null 2>&1 &
    wait "${pids[@]}" 2>/dev/null || true
    kill $! 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap finish EXIT
trap 'exit 130' INT TERM

for program in tshark dumpcap unshare nsenter ip; do
  command -v "$program" >/dev/null || skip "there is no program $program"
done
unshare --net true 2>/dev/null || skip "network namespaces cannot be made"

# --- two hosts and a cable

hosts=()
for host in 0 1; do
  unshare --net sleep infinity &
  hosts+=($!)
  pids+=($!)
done
on() {
  local host=$1
  shift
  nsenter --target "${hosts[host]}" --net "$@"
}
# A namespace is there once its process has started.
for host in 0 1; do
  until [[ $(readlink "/proc/${hosts[host]}/ns/net") != $(readlink /proc/self/ns/net) ]]; do sleep 0.05; done
  on "$host" ip link set lo up
done
on 0 ip link add eth0 type veth peer name eth0 netns "${hosts[1]}"
for host in 0 1; do
  on "$host" ip address add "${addresses[host]}/24" dev eth0
  on "$host" ip link set eth0 up
done

# The process itself is what is started, so that a signal to it ends it.
start() {
  local host=$1 log=$2
  shift 2
  QOR_RUNTIME_DIR="$work/run$host" QOR_DEPLOYMENT_DIR="$deployment" \
    nsenter --target "${hosts[host]}" --net "$@" >"$work/$log.out" 2>"$work/$log.err" &
  pids+=($!)
}
ask() {
  local host=$1
  shift
  QOR_RUNTIME_DIR="$work/run$host" on "$host" "$bin/qorevent" "$@"
}

# --- what they say to each other

for interface in lo eth0; do
  start 0 "capture_$interface" dumpcap -q -i "$interface" -w "$work/$interface.pcap" -f 'udp or tcp'
done
for interface in lo eth0; do
  for ((i = 0; i < 200; ++i)); do
    [[ -s $work/$interface.pcap ]] && break
    sleep 0.05
  done
  [[ -s $work/$interface.pcap ]] || skip "dumpcap cannot capture: $(tail -n 3 "$work/capture_$interface.err")"
done
for host in 0 1; do
  mkdir "$work/run$host"
  start "$host" "daemon$host" "$bin/maintaind" --interface "${addresses[host]}"
done
start 0 chassis "$bin/qor_demo_vehicle" chassis
start 0 camera "$bin/qor_demo_vehicle" camera
for host in 0 1; do
  # shellcheck disable=SC2086 # names are words
  ask "$host" hz ${services//,/ } --timeout 20 --duration "$seconds" >"$work/hz$host.out" ||
    fail "no events on host $host: $(cat "$work/hz$host.out")"
done
captures=("${pids[@]:2:2}")
pids=("${pids[@]:0:2}" "${pids[@]:4}")
kill "${captures[@]}"
wait "${captures[@]}" 2>/dev/null || true

# --- what tshark makes of it

# Service discovery tells the ports of the services, loopback's are those of the deployment.
decode=(-d udp.port==30490,someip)
while read -r port; do
  decode+=(-d "udp.port==$port,someip" -d "tcp.port==$port,someip")
done < <({
  printf '%s\n' 30501 30502
  tshark -r "$work/eth0.pcap" "${decode[@]}" -T fields -e someipsd.option.port 2>/dev/null | tr ',' '\n'
} | sort -nu | grep -v '^$')
count() { tshark -r "$work/$1.pcap" "${decode[@]}" -Y "$2" 2>/dev/null | wc -l; }

status=0
expect() {
  local interface=$1 what=$2 filter=$3 found
  found=$(count "$interface" "$filter")
  echo "$interface: $what: $found"
  ((found > 0)) || status=1
}
for interface in lo eth0; do
  expect "$interface" "notifications" 'someip.messagetype == 0x02'
  expect "$interface" "segments" 'someip.messagetype == 0x22'
  expect "$interface" "messages whole again" 'someip.tp.fragments'
done
expect eth0 "service discovery: offers" 'someipsd.entry.type == 0x01'
expect eth0 "service discovery: subscriptions" 'someipsd.entry.type == 0x06'
expect eth0 "service discovery: acknowledgements" 'someipsd.entry.type == 0x07'
expect eth0 "requests by TCP" 'tcp && someip.messagetype == 0x00'
for interface in lo eth0; do
  malformed=$(count "$interface" 'someip && (_ws.malformed || _ws.expert.severity == "error")')
  echo "$interface: malformed: $malformed of $(count "$interface" someip)"
  ((malformed == 0)) || status=1
done
exit "$status"
