"""Follows the frames of a capture, link by link, and says what is wrong with them."""

import re

from frame_kinds import kind_of

WITH_TWO_ITEMS = ("0x006f", "0x0070")
CPF_OVERHEAD = 16  # interface handle, time-out, item count, and type and length of both items
ELEMENT_SEGMENT_WORDS = {"0x28": 1, "0x29": 2, "0x2a": 3}

# What only a fault brings about.
RESENT_REQUEST = "resent request"
REPEATED_REPLY = "repeated reply"

NAMED = re.compile(r"<(new )?(\w+)>")


class Exchange:
    """One request for a tag and its answer, in the dissector's words."""

    def __init__(self, request, reply):
        self.service = request["cip.sc"]
        self.symbol = request["cip.symbol"]
        self.segments = request["cip.path_segment"]
        self.member = request["cip.member"]
        self.request_data = request["cip.data"]
        self.status = (reply["cip.genstat"] + " " + reply["cip.addstat"]).strip()
        self.reply_data = reply["cip.data"]

    def row(self):
        path = f"{self.symbol} {self.member}".strip()
        return (self.service, path, self.request_data, self.status, self.reply_data)


class Link:
    """What one TCP link has agreed on so far."""

    def __init__(self):
        self.known = {}
        self.sequence = 0
        self.request = None
        self.answered = set()  # sequence counts


class Conversation:
    def __init__(self, frames):
        self.faults = []  # texts
        self.kinds = {}   # name: how often
        self.exchanges = []
        self.irregular = set()
        self.links = {}
        for frame in frames:
            self._take(frame, self.links.setdefault(frame["tcp.stream"], Link()))

    def _take(self, frame, link):
        name, expected = kind_of(frame)
        self.kinds[name] = self.kinds.get(name, 0) + 1
        if expected is None:
            self._fault(frame, name, "a frame of no known kind")
            return
        for field, value in expected.items():
            self._compare(frame, name, field, value, link)
        if frame["enip.command"] in WITH_TWO_ITEMS:
            items = sum(int(length) for length in frame["enip.cpf.length"].split(","))
            self._expect(frame, name, "enip.length", int(frame["enip.length"]),
                         items + CPF_OVERHEAD)
        if frame["enip.command"] == "0x0070":
            self._take_connected(frame, name, link)

    def _compare(self, frame, name, field, value, link):
        named = NAMED.fullmatch(value)
        if not named:
            self._expect(frame, name, field, frame[field], value)
        elif named.group(1):
            link.known[named.group(2)] = frame[field]
            if not frame[field] or int(frame[field], 0) == 0:
                self._fault(frame, name, f"{field} is {frame[field]!r}, a choice is missing")
        else:
            self._expect(frame, name, field, frame[field], link.known.get(named.group(2)))

    def _take_connected(self, frame, name, link):
        sequence = int(frame["cip.seq"] or 0)
        if not frame.is_request:
            self._take_reply(frame, name, link, sequence)
            return
        # A request that nobody answered is sent again as it was; every other one counts up.
        again = link.request is not None and link.sequence not in link.answered
        if again:
            self.irregular.add(RESENT_REQUEST)
        self._expect(frame, name, "cip.seq", sequence, link.sequence + (0 if again else 1))
        self._expect_path(frame, name)
        link.sequence = sequence
        link.request = frame

    def _take_reply(self, frame, name, link, sequence):
        if sequence in link.answered:
            self.irregular.add(REPEATED_REPLY)
            return
        if link.request is None:
            self._fault(frame, name, "a reply without a request")
            return
        for field in ("cip.seq", "cip.sc"):
            self._expect(frame, name, field, frame[field], link.request[field])
        link.answered.add(sequence)
        self.exchanges.append(Exchange(link.request, frame))

    def _expect_path(self, frame, name):
        # tshark puts the path of the connection before that of the request.
        segments = frame["cip.path_segment"].split(",")[2:]
        symbol = len(frame["cip.symbol"])
        words = 1 + (symbol + 1) // 2
        words += sum(ELEMENT_SEGMENT_WORDS.get(segment, 99) for segment in segments[1:])
        self._expect(frame, name, "cip.path_segment", segments[:1], ["0x91"])
        self._expect(frame, name, "cip.request_path_size", int(frame["cip.request_path_size"] or 0),
                     words)

    def _expect(self, frame, name, field, found, expected):
        if found != expected:
            self._fault(frame, name, f"{field} is {found!r}, not {expected!r}")

    def _fault(self, frame, name, what):
        self.faults.append(f"frame {frame.number}, {name}: {what}")
