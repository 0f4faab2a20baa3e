"""What is captured: tags, faults, the call of panelhost, and the exchanges that must occur.

An exchange is service, tag and element, data of the request, statuses, and data of the reply, all
as the dissector shows them. A Read Tag asks for a count and carries four bytes more; its reply is a
type and values. A Write Tag Fragmented carries type, count, offset and values.
"""

from conversation import REPEATED_REPLY, RESENT_REQUEST

READ = "0x4c"
WRITE = "0x53"
GOOD = "0x00"
NONE = ""

ONE_ELEMENT = "010000000000"


class Scenario:
    def __init__(self, name, command, tags, *, options=(), exit_code=0, exchanges=(), kinds=(),
                 irregular=()):
        self.name = name
        self.command = command
        self.tags = tags
        self.options = ["--response-time", "0", *options]
        self.exit_code = exit_code
        self.exchanges = exchanges
        self.kinds = kinds
        self.irregular = set(irregular)


def tag(name, kind, value=None, **more):
    keys = {"name": f"'{name}'", "type": f"'{kind}'", "value": value, **more}
    lines = [f"{key} = {text}" for key, text in keys.items() if text is not None]
    return "[[tag]]\n" + "\n".join(lines) + "\n"


# --- Reading

# Type, value as a tag file writes it, and the data of a reply.
SINGLE_VALUES = [
    ("BOOL", "true", "c10001"),
    ("SINT", "-128", "c20080"),
    ("INT", "-2", "c300feff"),
    ("DINT", "0x01020304", "c40004030201"),
    ("LINT", "-2", "c500feffffffffffffff"),
    ("USINT", "255", "c600ff"),
    ("UINT", "0xA55A", "c7005aa5"),
    ("UDINT", "4294967294", "c800feffffff"),
    ("ULINT", "'18446744073709551615'", "c900ffffffffffffffff"),
    ("REAL", "1.5", "ca000000c03f"),
    ("LREAL", "-2.5", "cb0000000000000004c0"),
    ("BYTE", "0xA5", "d100a5"),
    ("WORD", "0x0102", "d2000201"),
    ("DWORD", "0x80000001", "d30001000080"),
    ("LWORD", "0x0102030405060708", "d4000807060504030201"),
    ("STRING", "'HELLO'", "da000548454c4c4f"),
    ("TIME", "-1", "db00ffffffff"),
]

ARRAY_VALUES = "[" + ", ".join(str(i) for i in range(300)) + "]"


def words(values):
    return "".join(f"{value & 0xFF:02x}{value >> 8 & 0xFF:02x}" for value in values)


SINGLE = Scenario(
    "a single value of every type",
    ["read", *[f"One_{kind}" for kind, _, _ in SINGLE_VALUES]],
    "".join(tag(f"One_{kind}", kind, value) for kind, value, _ in SINGLE_VALUES),
    exchanges=[(READ, f"One_{kind}", ONE_ELEMENT, GOOD, data) for kind, _, data in SINGLE_VALUES])

ELEMENTS = Scenario(
    "elements with indexes of 8 and 16 bits",
    ["read", "Ints[7]", "Ints[290]", "Bytes[255]", "Bytes[65535]"],
    tag("Ints", "INT", ARRAY_VALUES, size=300) + tag("Bytes", "USINT", size=65536),
    exchanges=[
        (READ, "Ints 0x07", ONE_ELEMENT, GOOD, "c3000700"),
        (READ, "Ints 0x0122", ONE_ELEMENT, GOOD, "c3002201"),
        (READ, "Bytes 0xff", ONE_ELEMENT, GOOD, "c60000"),
        (READ, "Bytes 0xffff", ONE_ELEMENT, GOOD, "c60000"),
    ])

RANGES = Scenario(
    "ranges, also one that takes more than one packet",
    ["read", "Ints[3..6]", "Longs[1..2]", "Wides[0..1]", "Many[0..299]"],
    tag("Ints", "INT", ARRAY_VALUES, size=300) + tag("Many", "INT", ARRAY_VALUES, size=300) +
    tag("Longs", "DINT", "[1, -2, 0x01020304, 4]", size=4) +
    tag("Wides", "LINT", "[1, -2]", size=2),
    exchanges=[
        (READ, "Ints 0x03", "040000000000", GOOD, "c300" + words(range(3, 7))),
        (READ, "Longs 0x01", "020000000000", GOOD, "c400feffffff04030201"),
        (READ, "Wides", "020000000000", GOOD, "c5000100000000000000feffffffffffffff"),
    ])

IDENTITY = Scenario(
    "the identity of the controller", ["identify"],
    "[controller]\nname = '2080-LC50-24QWB'\nrevision = '6.11'\nserial = 0x604E1EF7\n" +
    tag("Level", "INT"),
    kinds=["ListIdentity request", "ListIdentity reply"])

# --- Writing

WRITES = Scenario(
    "a value of every type that can be written, read back each time",
    ["write", "Flag=1", "Small=-128", "Level=-2.5", "Count=16909060", "Wide=-2", "Text=HI",
     "Ints[2]=258", "Ints[260]=772"],
    tag("Flag", "BOOL") + tag("Small", "SINT") + tag("Level", "REAL") + tag("Count", "DINT") +
    tag("Wide", "LINT") + tag("Text", "STRING", "'HELLO'") + tag("Ints", "INT", size=300),
    exchanges=[
        (WRITE, "Flag", "c10001000000000001", GOOD, NONE),
        (READ, "Flag", ONE_ELEMENT, GOOD, "c10001"),
        (WRITE, "Small", "c20001000000000080", GOOD, NONE),
        (READ, "Small", ONE_ELEMENT, GOOD, "c20080"),
        (WRITE, "Level", "ca000100000000000000" + "20c0", GOOD, NONE),
        (READ, "Level", ONE_ELEMENT, GOOD, "ca00000020c0"),
        (WRITE, "Count", "c400010000000000" + "04030201", GOOD, NONE),
        (WRITE, "Wide", "c500010000000000" + "feffffffffffffff", GOOD, NONE),
        (WRITE, "Text", "da00010000000000" + "024849", GOOD, NONE),
        (READ, "Text", ONE_ELEMENT, GOOD, "da00024849"),
        (WRITE, "Ints 0x02", "c300010000000000" + "0201", GOOD, NONE),
        (READ, "Ints 0x02", ONE_ELEMENT, GOOD, "c3000201"),
        (WRITE, "Ints 0x0104", "c300010000000000" + "0403", GOOD, NONE),
    ])

# --- Refusals

LEVEL = tag("Level", "INT", "3")
LEVEL_READ = (READ, "Level", ONE_ELEMENT, GOOD, "c3000300")

REFUSED_TAGS = [
    Scenario("a tag that does not exist", ["read", "Nope", "Level"], LEVEL, exit_code=1,
             exchanges=[(READ, "Nope", ONE_ELEMENT, "0x05", NONE), LEVEL_READ],
             kinds=["Read Tag refused reply"]),
    Scenario("an element beyond the end", ["read", "Ints[4]"], tag("Ints", "INT", size=4),
             exit_code=1, exchanges=[(READ, "Ints 0x04", ONE_ELEMENT, "0xff 0x2105", NONE)],
             kinds=["Read Tag refused reply"]),
    Scenario("any other status", ["read", "Level"], LEVEL, exit_code=1,
             options=["--fault", "status 0x0C 0x8001"],
             exchanges=[(READ, "Level", ONE_ELEMENT, "0x0c 0x8001", NONE)]),
    Scenario("a write to what is read-only", ["write", "Locked=258"],
             tag("Locked", "INT", "3", read_only="true"), exit_code=1,
             exchanges=[(WRITE, "Locked", "c300010000000000" + "0201", "0x0f", NONE)],
             kinds=["Write Tag Fragmented refused reply"]),
]

REFUSED_HANDSHAKES = [
    Scenario("a Forward Open, the next one being accepted", ["read", "Level"], LEVEL,
             options=["--fault", "refuse-open 0x0100 times 1"], exchanges=[LEVEL_READ],
             kinds=["Forward Open refused reply", "Forward Open reply"]),
    Scenario("a session", ["read", "Level"], LEVEL, exit_code=3,
             options=["--fault", "refuse-session 0x02"],
             kinds=["RegisterSession refused reply"]),
]

# --- Faults that garble no frame

WATCH = ["watch", "Level", "--timeout", "200", "--interval", "0.05", "--count", "8"]


def faulty(fault, **expected):
    return Scenario(fault, WATCH, LEVEL, options=["--fault", fault], exchanges=[LEVEL_READ],
                    **expected)


SCENARIOS = {
    "reading": [SINGLE, ELEMENTS, RANGES, IDENTITY],
    "writing": [WRITES],
    "refusals": REFUSED_TAGS + REFUSED_HANDSHAKES,
    "faults": [
        faulty("delay 20"),
        faulty("split 5"),
        faulty("silence on data times 1", irregular=[RESENT_REQUEST]),
        faulty("lost-answer on data times 1", irregular=[RESENT_REQUEST]),
        faulty("late-duplicate 80 on data", irregular=[REPEATED_REPLY]),
    ],
}
