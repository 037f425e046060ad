#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Bag files in Python, from their description alone: shares nothing with the library.

    bag_format.py read FILE...        one JSON document a file on stdout: everything that is in it
    bag_format.py make FOLDER         the corpus: one small bag for each version and compression,
                                      closed and active, with what is in it as JSON beside it

Compressed blocks go through the programs `lz4` and `zstd`.
"""
import json
import os
import struct
import subprocess
import sys

VERSIONS = [100, 110, 120, 130, 140, 150, 160, 170, 180, 190, 210, 220, 230, 240, 250, 260, 270]
PROGRAMS = {1: "lz4", 2: "zstd"}


def run(program, arguments, data):
    done = subprocess.run([program, *arguments], input=data, stdout=subprocess.PIPE, check=True)
    return done.stdout


class Reader:
    """Takes numbers and texts from bytes; fails when they end."""

    def __init__(self, data, at=0):
        self.data = data
        self.at = at

    def take(self, size):
        if self.at + size > len(self.data):
            raise ValueError("the data ends at %d, %d bytes were expected at %d" % (len(self.data), size, self.at))
        part = self.data[self.at:self.at + size]
        self.at += size
        return part

    def number(self, size):
        return int.from_bytes(self.take(size), "little")

    def text(self):
        return self.take(self.number(4)).decode()

    def header(self, op=None):
        """The fields of a record header, by name."""
        end = self.number(4) + self.at
        fields = {}
        while self.at < end:
            name, _, value = self.take(self.number(4)).partition(b"=")
            fields[name.decode()] = value
        if self.at != end or "op" not in fields:
            raise ValueError("no header ends at %d" % end)
        if op is not None and fields["op"][0] != op:
            raise ValueError("record %d before %d, %d expected" % (fields["op"][0], self.at, op))
        return fields


def value(fields, name):
    return int.from_bytes(fields[name], "little")


def check(condition, text):
    if not condition:
        raise ValueError(text)


# ------------------------------------------------------------------ what connection records say of their events

DDS_FIXED = [("serviceId", 2, 0), ("instanceId", 2, 0), ("domainId", 2, 0), ("fragmentSize", 4, 0),
             ("dataRepresentation", 1, 0), ("publishMode", 1, 0), ("sampleListSize", 4, 0), ("samplePoolSize", 4, 0),
             ("dataMode", 1, 170), ("udpMulticastPort", 4, 240), ("isFshmMulticast", 1, 270), ("isKeyed", 1, 270)]
DDS_TEXTS = [("topicName", 0), ("qosProfile", 0), ("udpMulticastAddress", 250), ("networkIp", 230),
             ("subnetMask", 230), ("fshmMulticastAddress", 270)]
SOMEIP_FIXED = [("serviceId", 2, 0), ("instanceId", 2, 0), ("majorVersion", 4, 0), ("eventId", 2, 0),
                ("udpPort", 2, 0), ("tcpPort", 2, 0), ("minorVersion", 4, 0), ("isReliable", 1, 0)]
SOMEIP_TEXTS = [("instanceShortName", 0), ("networkIp", 230), ("subnetMask", 230), ("networkName", 230)]


def width(name, size, version):
    return 2 if name == "minorVersion" and version < 220 else size


def read_event_info(blob, driver, version):
    reader = Reader(blob)
    fixed, texts = (DDS_FIXED, DDS_TEXTS) if driver == 0 else (SOMEIP_FIXED, SOMEIP_TEXTS)
    info = {name: reader.number(width(name, size, version)) for name, size, since in fixed if version >= since}
    info.update({name: reader.text() for name, since in texts if version >= since})
    if driver == 0:
        info["transports"] = list(reader.take(reader.number(4)))
        if version >= 260:
            info["discoveryMulticastAddresses"] = [reader.text() for _ in range(reader.number(4))]
    else:
        groups = Reader(reader.take(reader.number(4)))
        info["eventGroupIds"] = [groups.number(2) for _ in range(len(groups.data) // 2)]
    check(reader.at == len(blob), "%d bytes behind the event information" % (len(blob) - reader.at))
    return info


def text_bytes(text):
    return struct.pack("<I", len(text.encode())) + text.encode()


def write_event_info(info, driver, version):
    fixed, texts = (DDS_FIXED, DDS_TEXTS) if driver == 0 else (SOMEIP_FIXED, SOMEIP_TEXTS)
    out = b""
    for name, size, since in fixed:
        if version >= since:
            size = width(name, size, version)
            out += (info[name] & ((1 << 8 * size) - 1)).to_bytes(size, "little")
    for name, since in texts:
        out += text_bytes(info[name]) if version >= since else b""
    if driver == 0:
        out += struct.pack("<I", len(info["transports"])) + bytes(info["transports"])
        if version >= 260:
            addresses = info["discoveryMulticastAddresses"]
            out += struct.pack("<I", len(addresses)) + b"".join(text_bytes(one) for one in addresses)
    else:
        groups = b"".join(struct.pack("<H", one) for one in info["eventGroupIds"])
        out += struct.pack("<I", len(groups)) + groups
    return out


# ------------------------------------------------------------------------------------------------------- reading

def read_connection(reader, version):
    fields = reader.header(7)
    connection = {"id": value(fields, "id"), "event": fields["event"].decode(), "type": fields["type"].decode()}
    if version >= 120:
        connection["msgDef"] = fields["msgDef"].decode()
    driver = value(fields, "driverType") if version >= 110 else 0
    check(version < 110 or len(fields["driverType"]) == 2, "driverType has 2 bytes")
    connection["driverType"] = driver
    if version >= 160:
        connection["serializationType"] = value(fields, "serializationType")
    connection["eventInfo"] = read_event_info(fields["eventInfo"], driver, version)
    for name in ["startTime", "endTime", "msgCount"] if version >= 190 else []:
        check(len(fields[name]) == 8, name + " has 8 bytes")
        connection[name] = value(fields, name)
    if version >= 210:
        connection["serializationConfig"] = fields["serializationConfig"].hex()
    return connection


def read_chunk_info(reader):
    fields = reader.header(6)
    count = value(fields, "connectionCount")
    check(reader.number(4) == 8 * count, "the data of a chunk info has 8 bytes a connection")
    return {"startTime": value(fields, "startTime"), "endTime": value(fields, "endTime"),
            "chunkPos": value(fields, "chunkPos"),
            "counts": [[reader.number(4), reader.number(4)] for _ in range(count)]}


def read_messages(data, base):
    """The message records of a chunk by where they are."""
    reader = Reader(data)
    messages = {}
    while reader.at < len(data):
        at = reader.at
        fields = reader.header(2)
        check(reader.at == at + 55, "the header of a message has 55 bytes")
        messages[base + at] = {"connection": value(fields, "connectionId"), "time": value(fields, "timeStamp"),
                               "payload": reader.take(reader.number(4)).hex()}
    return messages


def read_chunk(reader, version, compression, index_count):
    """One chunk: its header, its messages in the order of its index, its end information."""
    fields = reader.header(5)
    chunk = {name: value(fields, name) for name in fields if name != "op"}
    data_pos = reader.at
    if compression:
        size = reader.number(4)
        check(chunk["chunkCompressedSize"] == size + 4, "the compressed size counts its length")
        data = run(PROGRAMS[compression], ["-d", "-c", "-q"], reader.take(size))
        messages = read_messages(data, 0)
    else:
        data = reader.take(chunk["chunkSize"])
        messages = read_messages(data, data_pos)
    check(len(data) == chunk["chunkSize"], "the chunk has the size that it claims")
    found = []
    for _ in range(chunk.get("connectionCount", index_count)):
        fields = reader.header(4)
        entry_size = 24 if version >= 180 else 16
        entries = value(fields, "indexcount")
        check(reader.number(4) == entries * entry_size, "the data of an index has its entries")
        latest = 0
        for _ in range(entries):
            time, pos = reader.number(8), reader.number(8)
            check(version < 180 or reader.number(8) == data_pos, "an entry tells where the data of its chunk is")
            message = messages.pop(pos)
            check(message["connection"] == value(fields, "id") and message["time"] == time and time >= latest,
                  "an entry leads to its message, in the order of time")
            latest = time
            found.append(message)
    check(not messages, "every message is in the index")
    if version >= 150:
        check(chunk["chunkStatus"] == 1 and reader.at == chunk["chunkInfoRecordPos"], "the end information is there")
        chunk["info"] = read_chunk_info(reader)
        chunk["newConnections"] = [read_connection(reader, version) for _ in range(reader.number(4))]
        check(reader.at == chunk["nextChunkPos"], "the next chunk follows")
    return chunk, found


def read(name):
    with open(name, "rb") as file:
        data = file.read()
    version = 100
    reader = Reader(data)
    if data.startswith(b"#QORBAG"):
        line = data[:data.index(b"\n") + 1]
        major, minor = line.decode().strip()[len("#QORBAG V"):].split(".")
        version = int(major) * 100 + int(minor) * 10
        reader.at = len(line)
    fields = reader.header(3)
    bag = {"version": version, "header": {name: value(fields, name) for name in fields if name != "op"}}
    compression = bag["header"].get("compression", 0)
    first_chunk = reader.at
    reader.at = bag["header"]["connectionPos"]
    bag["connections"] = [read_connection(reader, version) for _ in range(bag["header"]["connectionCount"])]
    infos = [read_chunk_info(reader) for _ in range(bag["header"]["chunkCount"])]
    check(reader.at == len(data), "nothing stands behind the closing index")
    bag["chunkInfos"] = infos
    bag["chunks"] = []
    bag["messages"] = []
    reader.at = first_chunk
    check(version < 150 or bag["header"]["nextChunkPos"] == first_chunk, "the first chunk follows the header")
    for info in infos:
        check(reader.at == info["chunkPos"], "chunks follow each other")
        chunk, messages = read_chunk(reader, version, compression, len(info["counts"]))
        check(chunk.pop("info", info) == info, "a chunk info stands in the chunk and in the closing index")
        bag["chunks"].append(chunk)
        bag["messages"] += messages
    check(reader.at == bag["header"]["connectionPos"], "the closing index follows the last chunk")
    return bag


# ------------------------------------------------------------------------------------------------------- writing

def header(op, fields):
    body = b"".join(struct.pack("<I", len(name) + 1 + len(data)) + name.encode() + b"=" + data
                    for name, data in [("op", bytes([op]))] + fields)
    return struct.pack("<I", len(body)) + body


def number(size, value):
    return value.to_bytes(size, "little")


def write_connection(connection, version):
    fields = [("id", number(4, connection["id"])), ("event", connection["event"].encode()),
              ("type", connection["type"].encode())]
    if version >= 120:
        fields.append(("msgDef", connection["msgDef"].encode()))
    if version >= 110:
        fields.append(("driverType", number(2, connection["driverType"])))
    if version >= 160:
        fields.append(("serializationType", number(4, connection["serializationType"])))
    fields.append(("eventInfo", write_event_info(connection["eventInfo"], connection["driverType"], version)))
    for name in ["startTime", "endTime", "msgCount"] if version >= 190 else []:
        fields.append((name, number(8, connection[name])))
    if version >= 210:
        fields.append(("serializationConfig", bytes.fromhex(connection["serializationConfig"])))
    return header(7, fields)


def write_chunk_info(info):
    counts = b"".join(struct.pack("<II", *pair) for pair in info["counts"])
    return header(6, [("startTime", number(8, info["startTime"])), ("endTime", number(8, info["endTime"])),
                      ("connectionCount", number(4, len(info["counts"]))),
                      ("chunkPos", number(8, info["chunkPos"]))]) + struct.pack("<I", len(counts)) + counts


def write_file_header(values, version):
    fields = []
    times = ["startRecordRealTime", "startRecordVirtualTime", "stopRecordRealTime", "stopRecordVirtualTime"]
    for name, size, since in [(name, 8, 130) for name in times] + [
            ("connectionPos", 8, 0), ("nextChunkPos", 8, 150), ("connectionCount", 4, 0), ("chunkCount", 4, 0),
            ("compression", 4, 180)]:
        if version >= since:
            fields.append((name, number(size, values[name])))
    return header(3, fields)


def write_chunk_header(values, version):
    fields = [("chunkSize", number(4, values["chunkSize"]))]
    if version >= 180:
        fields.append(("chunkCompressedSize", number(4, values["chunkCompressedSize"])))
    if version >= 150:
        fields += [("connectionCount", number(4, values["connectionCount"])),
                   ("chunkInfoRecordPos", number(8, values["chunkInfoRecordPos"])),
                   ("nextChunkPos", number(8, values["nextChunkPos"])),
                   ("chunkStatus", number(4, values["chunkStatus"]))]
    return header(5, fields)


def compressed_block(compression, data):
    arguments = ["-z", "-c", "-q"] if compression == 1 else ["-c", "-q", "-1"]
    block = run(PROGRAMS[compression], arguments, data)
    return struct.pack("<I", len(block)) + block


def write_chunk(position, messages, connections, new, version, compression):
    """The bytes of a chunk, and its info."""
    names = ["chunkSize", "chunkCompressedSize", "connectionCount", "chunkInfoRecordPos", "nextChunkPos",
             "chunkStatus"]
    data_pos = position + len(write_chunk_header(dict.fromkeys(names, 0), version))
    records = b""
    entries = {}
    for message in messages:
        at = len(records) + (0 if compression else data_pos)
        entries.setdefault(message["connection"], []).append((message["time"], at))
        payload = bytes.fromhex(message["payload"])
        records += header(2, [("connectionId", number(4, message["connection"])),
                              ("timeStamp", number(8, message["time"]))]) + struct.pack("<I", len(payload)) + payload
    data = compressed_block(compression, records) if compression else records
    index = b""
    for connection in sorted(entries):
        words = [struct.pack("<QQ", *entry) + (struct.pack("<Q", data_pos) if version >= 180 else b"")
                 for entry in sorted(entries[connection], key=lambda entry: entry[0])]
        index += header(4, [("id", number(4, connection)), ("indexcount", number(4, len(words)))])
        index += struct.pack("<I", len(b"".join(words))) + b"".join(words)
    times = [message["time"] for message in messages]
    info = {"startTime": min(times), "endTime": max(times), "chunkPos": position,
            "counts": [[connection, len(entries[connection])] for connection in sorted(entries)]}
    end = b""
    if version >= 150:
        end = write_chunk_info(info) + struct.pack("<I", len(new))
        end += b"".join(write_connection(connections[one], version) for one in new)
    info_pos = data_pos + len(data) + len(index)
    values = {"chunkSize": len(records), "chunkCompressedSize": len(data) if compression else 0,
              "connectionCount": len(entries), "chunkInfoRecordPos": info_pos, "nextChunkPos": info_pos + len(end),
              "chunkStatus": 1}
    return write_chunk_header(values, version) + data + index + end, info


def sample_connections():
    dds = {"serviceId": 0x0101, "instanceId": 1, "domainId": 12, "fragmentSize": 64000, "dataRepresentation": 2,
           "publishMode": 1, "sampleListSize": 8, "samplePoolSize": 1 << 20, "dataMode": 1, "udpMulticastPort": 7400,
           "isFshmMulticast": 1, "isKeyed": 1, "topicName": "chassis_speed", "qosProfile": "fast",
           "udpMulticastAddress": "239.0.0.1", "networkIp": "192.168.1.10", "subnetMask": "255.255.255.0",
           "fshmMulticastAddress": "fshm", "transports": [3, 0], "discoveryMulticastAddresses": ["239.0.0.2", ""]}
    someip = {"serviceId": 0x0202, "instanceId": 2, "majorVersion": 3, "eventId": 0x8001, "udpPort": 30501,
              "tcpPort": 30502, "minorVersion": 0x12345, "isReliable": 1, "instanceShortName": "Front",
              "networkIp": "192.168.2.10", "subnetMask": "255.255.255.0", "networkName": "vehicle",
              "eventGroupIds": [1, 0x1234]}
    definition = '{"ShortName": "Speed", "Type": "VALUE", "Primitive": "uint16"}'
    return [{"event": "/chassis/speed", "type": "Speed", "msgDef": definition, "driverType": 0,
             "serializationType": 0, "eventInfo": dds, "serializationConfig": ""},
            {"event": "/camera=front", "type": "", "msgDef": "", "driverType": 1, "serializationType": 1,
             "eventInfo": someip, "serializationConfig": ""}]


def sample_chunks():
    def message(connection, time, payload):
        return {"connection": connection, "time": time, "payload": payload}
    return [[message(0, 1000, "0102"), message(0, 1010, ""), message(0, 1010, "3d" * 70)],
            [message(0, 1025, "0304"), message(1, 1020, "ff" * 300), message(0, 1015, "0506"), message(1, 1025, "00")]]


def make(version, compression, is_closed):
    """A bag of two events and two chunks; one that is not closed ends within a third."""
    line = b"" if version == 100 else b"#QORBAG V%d.%d\n" % (version // 100, version % 100 // 10)
    values = {"startRecordRealTime": 500, "startRecordVirtualTime": 400, "stopRecordRealTime": 2500,
              "stopRecordVirtualTime": 2400, "connectionPos": 0, "nextChunkPos": 0, "connectionCount": 0,
              "chunkCount": 0, "compression": compression}
    connections = sample_connections()
    if version < 110:
        connections = connections[:1]
    known = range(len(connections))
    chunks = [[one for one in chunk if one["connection"] in known] for chunk in sample_chunks()]
    for connection in known:
        times = [one["time"] for chunk in chunks for one in chunk if one["connection"] == connection]
        connections[connection].update({"id": connection, "startTime": min(times), "endTime": max(times),
                                        "msgCount": len(times)})
    body = line + write_file_header(values, version)
    values["nextChunkPos"] = len(body)
    infos = []
    seen = set()
    for chunk in chunks:
        new = sorted({one["connection"] for one in chunk} - seen)
        seen.update(new)
        data, info = write_chunk(len(body), chunk, connections, new, version, compression)
        body += data
        infos.append(info)
    if is_closed:
        values.update({"connectionPos": len(body), "connectionCount": len(connections), "chunkCount": len(infos)})
        body += b"".join(write_connection(one, version) for one in connections)
        body += b"".join(write_chunk_info(one) for one in infos)
    else:
        data, _ = write_chunk(len(body), chunks[0], connections, [], version, compression)
        body += data[:-20]
    start = len(line)
    head = write_file_header(values, version)
    return body[:start] + head + body[start + len(head):]


def make_all(folder):
    for version in VERSIONS:
        for compression in [0, 1, 2] if version >= 180 else [0]:
            name = os.path.join(folder, "v%d%s" % (version, ["", "_lz4", "_zstd"][compression]))
            with open(name + ".bag", "wb") as file:
                file.write(make(version, compression, True))
            with open(name + ".json", "w") as file:
                json.dump(read(name + ".bag"), file, indent=1, sort_keys=True)
                file.write("\n")
            if version >= 150:
                with open(name + ".bag.active", "wb") as file:
                    file.write(make(version, compression, False))


def main(arguments):
    if len(arguments) >= 2 and arguments[0] == "read":
        for name in arguments[1:]:
            print(json.dumps(read(name), sort_keys=True))
        return 0
    if len(arguments) == 2 and arguments[0] == "make":
        make_all(arguments[1])
        return 0
    sys.stderr.write(__doc__)
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
