"""SNMP messages as trees of BER, real and odd ones, and what can be done to them.

A node is [tag, content, form]: the content bytes or a list of nodes; the form how its length is written (None:
as it should be).  packet(seed, number, engine) is the same bytes for the same arguments on every machine.
"""
import copy
import hashlib
import hmac
import pathlib
import random

AUTH_PASSPHRASE = b"auth-secret-1"
UNSIGNED = b"not-signed!!"  # twelve octets, replaced by the digest when the message is complete
TAGS = [*range(0, 13), 0x24, 0x30, *range(0x40, 0x48), *range(0x80, 0x84), *range(0xA0, 0xA9), 0x1F, 0x9F, 0xFF]
CONTENTS = [b"", b"\0", b"A", b"\x80", b"\x7F\xFF\xFF\xFF", b"\xFF" * 9, b"\0" * 200, b"\xFF" * 300, b"\x2B" + b"\x01" * 127,
            b"\x2B" + b"\x8F\xFF\xFF\xFF\x7F" * 4, b"\x2B" + b"\x01" * 300, b"\x9F\x78\x04\x7F\x80\0\0",
            b"\x9F\x79\x08\x7F\xF8" + b"\0" * 6, b"\x9F\x79\x04\0\0\0\0", b"\x9F\x7A\x08" + b"\xFF" * 8, b"\x9F\x7B\x02\x01\x02",
            b"\x9F\x76\x09\0" + b"\xFF" * 8, b"\x9F\x78\x84\x7F\xFF\xFF\xFF", b"%n%s\r\n\x1B[2J\xC3\x28\xE2\x80\xAE", b"KVtr" * 40]
SOUND = {2: [b"\0", b"\x80\0\0\0", b"\x7F\xFF\xFF\xFF"], 4: [b"", b"%n%s\r\n\x1B[2J\xC3\x28\xE2\x80\xAE", b"KVtr" * 40, b"\0" * 3000], 5: [b""],
         6: [b"", b"\0", b"\x2B" + b"\x8F\xFF\xFF\xFF\x7F" * 4, b"\x2B" + b"\x01" * 120], 0x40: [b"\0" * 4, b"\xFF" * 4],
         0x41: [b"\0\xFF\xFF\xFF\xFF"], 0x42: [b""], 0x43: [b"\x80\0\0\0\0"], 0x44: [b"\x9F\x78\x04\x7F\x80\0\0", b"", b"\xFF" * 99],
         0x46: [b"\0" + b"\xFF" * 8, b"\0"], 0x80: [b"", b"A"], 0x81: [b"", b"A" * 99], 0x82: [b"", b"A"]}
ENTERPRISE = b"\x2B\x06\x01\x04\x01\x81\xFD\x59"


def length(size, form):
    if form == "indefinite":
        return b"\x80"
    if isinstance(form, int):  # wrong by so much
        size = max(0, size + form)
    if size < 128 and form != "long":
        return bytes([size])
    octets = size.to_bytes(4, "big") if form == "long" else size.to_bytes((size.bit_length() + 7) // 8, "big")
    return bytes([0x80 | len(octets)]) + octets


def encoded(node):
    tag, content, form = node
    if isinstance(content, list):
        content = b"".join(map(encoded, content))
    return bytes([tag]) + length(len(content), form) + content + (b"\0\0" if form == "indefinite" else b"")


def decoded(data):
    """The nodes that fill the bytes exactly, or None."""
    nodes, at = [], 0
    while at < len(data):
        if at + 2 > len(data):
            return None
        tag, size, at = data[at], data[at + 1], at + 2
        if size >= 0x80:
            octets = size & 0x7F
            size, at = int.from_bytes(data[at:at + octets], "big"), at + octets
        content, at = data[at:at + size], at + size
        if at > len(data):
            return None
        inner = decoded(content) if tag & 0x20 or (tag == 4 and content[:1] == b"\x30") else None
        nodes.append([tag, content if inner is None else inner, None])
    return nodes


def number(value):
    return [2, value.to_bytes(max(1, (value.bit_length() + 8) // 8), "big"), None]


def binding(tag, content, arc=1):
    return [0x30, [[6, ENTERPRISE + bytes([arc]), None], [tag, content, None]], None]


def notification(command, request, bindings):
    identity = [[0x30, [[6, b"\x2B\x06\x01\x02\x01\x01\x03\0", None], [0x43, b"\x01", None]], None],
                [0x30, [[6, b"\x2B\x06\x01\x06\x03\x01\x01\x04\x01\0", None], [6, ENTERPRISE + b"\0\x07", None]], None]]
    return [command, [number(request), number(0), number(0), [0x30, identity + bindings, None]], None]


def community_message(version, community, pdu):
    return [0x30, [number(version), [4, community, None], pdu], None]


def v3_message(pdu, engine, user, flags, clock, *, model=3, digest=b"", salt=b"", size=65507):
    security = [0x30, [[4, engine, None], number(1), number(clock), [4, user, None], [4, digest, None], [4, salt, None]], None]
    header = [0x30, [number(clock), number(size), [4, bytes([flags]), None], number(model)], None]
    return [0x30, [number(3), header, [4, [security], None], [0x30, [[4, engine, None], [4, b"", None], pdu], None]], None]


def signed(message, engine):
    """The message with the digest of the user "signer" (SHA) where it is still missing."""
    at = message.find(UNSIGNED)
    if at < 0:
        return message
    message = bytearray(message)
    message[at:at + 12] = bytes(12)
    key = hashlib.sha1(MASTER_KEY + engine + MASTER_KEY).digest()
    message[at:at + 12] = hmac.digest(key, message, "sha1")[:12]
    return bytes(message)


MASTER_KEY = hashlib.sha1((AUTH_PASSPHRASE * (1 + (1 << 20) // len(AUTH_PASSPHRASE)))[:1 << 20]).digest()
RECORDED = [bytes.fromhex(line.split(":")[1]) for line in
            (pathlib.Path(__file__).parent / "corpus/packets.hex").read_text().splitlines() if not line.startswith("#")]
# The largest inform there can be, of as many bindings as fit; its request ID is written over.
LARGEST = encoded(community_message(1, b"public", notification(0xA6, 0x7FFFFFFF, [[0x30, [[6, b"\x2B", None], [5, b"", None]], None]] * 9100)))
LARGEST_ID = LARGEST.index(b"\x02\x04\x7F\xFF\xFF\xFF") + 2
# At the start of every so many packets: as many of the largest informs in a row, and of engines that nobody has.
ROUND = 50000
LARGEST_INFORMS = 60
INVENTED_ENGINES = 10100


def invented(pdu, n):
    return v3_message(pdu, b"\x80\0\0\0\x05" + n.to_bytes(6, "big"), b"quiet", 0, n)


def odd_binding(chance, arc):
    tag = chance.choice(list(SOUND))
    return binding(tag, chance.choice(SOUND[tag]), arc) if chance.random() < 0.8 else binding(chance.choice(TAGS), chance.choice(CONTENTS), arc)


def built(chance, n, engine):
    """A message of our own making: (tree, engine to sign for)."""
    command = chance.choice([0xA6, 0xA7])
    bindings = [odd_binding(chance, arc) for arc in range(chance.randrange(4))]
    pdu = notification(command, n, bindings)
    kind = chance.randrange(8)
    if kind < 3:
        community = chance.choice([b"public"] * 6 + [b"", b"x" * 300, b"secret\0\n"])
        return community_message(chance.choice([1, 1, 1, 1, 0, 2, 3]), community, pdu), b""
    if kind == 3:  # an engine that was never heard of, of the user without a passphrase
        return invented(pdu, n), b""
    if kind == 4:  # sound in its signature, odd inside
        sender = b"\x80\0\0\0\x05E" + (n // 1000).to_bytes(4, "big")
        return v3_message(pdu, sender, b"signer", 1, 1000 + n // 100, digest=UNSIGNED), sender
    if kind == 5:  # an inform to the receiver's own engine
        return v3_message(pdu, engine, b"quiet", 4, n), b""
    return v3_message(pdu, chance.choice([b"", b"\x80", engine, b"\x80\0\0\0\x05abcde", b"\xFF" * 32, b"\xFF" * 33, b"e" * 300]),
                      chance.choice([b"", b"quiet", b"signer", b"keeper", b"nobody", b"u" * 33, b"u" * 300, b"qui\0et"]),
                      chance.randrange(256), n, model=chance.choice([0, 1, 2, 3, 3, 3, 255, 1 << 31]),
                      digest=chance.choice([b"", UNSIGNED[:-1], bytes(12), bytes(255)]),
                      salt=chance.choice([b"", b"12345678", b"1234567", bytes(300)]), size=chance.choice([0, 484, 65507, 1 << 31])), engine


def message(chance, n, engine):
    if chance.random() < 0.5:
        return decoded(chance.choice(RECORDED))[0], b""
    return built(chance, n, engine)


def places(nodes):
    """Every (list, index) at which a node stands."""
    for index, node in enumerate(nodes):
        yield nodes, index
        if isinstance(node[1], list):
            yield from places(node[1])


def change_tree(chance, top, other):
    parent, index = chance.choice(list(places(top)))
    node = tag, content, form = parent[index]

    def part_of_other():
        source, place = chance.choice(list(places([other])))
        return [copy.deepcopy(source[place])]

    def other_content():
        return [[tag, chance.choice(SOUND.get(tag, CONTENTS) if chance.random() < 0.7 else CONTENTS), form]]

    def nested():
        inner = node
        for _ in range(chance.choice([1, 3, 60])):
            inner = [0x30, [inner], None]
        return [inner]

    ways = (list, lambda: [node] * (1 + chance.choice([1, 2, 50])), lambda: [[chance.choice(TAGS), content, form]],
            other_content, other_content,
            lambda: [[tag, content, chance.choice(["long", "indefinite", 1, -1, 127, -2, 65000, 1 << 31])]],
            part_of_other, nested)
    parent[index:index + 1] = chance.choice(ways)()


def change_bytes(chance, data, other):
    at = chance.randrange(len(data) + 1)
    front, back = data[:at], data[at:]
    ways = (lambda: front + bytes([chance.randrange(256)]) + back[1:],
            lambda: front + bytes([chance.randrange(256)]) + back[1:],
            lambda: front + bytes([back[0] ^ 1 << chance.randrange(8)]) + back[1:] if back else mixed(),
            lambda: front + chance.randbytes(chance.randrange(1, 9)) + back,
            lambda: front + back[chance.randrange(1, 9):],
            lambda: front, mixed := lambda: front + other[chance.randrange(len(other) + 1):])
    return ways[chance.randrange(7)]()


def packet(seed, n, engine):
    chance = random.Random(seed << 40 | n)
    if n % ROUND < LARGEST_INFORMS:
        return LARGEST[:LARGEST_ID] + (n & 0x7FFFFFFF).to_bytes(4, "big") + LARGEST[LARGEST_ID + 4:]
    if n % ROUND < LARGEST_INFORMS + INVENTED_ENGINES:
        return encoded(invented(notification(0xA7, n, []), n))
    tree, signer = message(chance, n, engine)
    other = message(chance, n, engine)[0]
    top = [tree]
    for _ in range(chance.choice([0, 0, 1, 1, 2, 3])):
        if top:
            change_tree(chance, top, other)
    data = b"".join(map(encoded, top))
    if signer:
        return signed(data, signer)[:65000]
    if chance.random() < 0.3:
        for _ in range(chance.choice([1, 1, 2, 4])):
            data = change_bytes(chance, data, encoded(other))
    return data[:65000]
