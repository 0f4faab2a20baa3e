"""A capture as tshark understands it: what it complains of, and the fields of every frame."""

import subprocess

ENIP_PORT = 44818  # on another port the dissector does not tell requests from replies

# More than one value of a field in one frame is joined by this.
JOINT = ","
SEPARATOR = "|"

FIELDS = [
    "frame.number", "tcp.stream", "tcp.dstport",
    "enip.command", "enip.length", "enip.session", "enip.status", "enip.context", "enip.options",
    "enip.rs.version", "enip.rs.flags",
    "enip.srrd.iface", "enip.sud.iface", "enip.timeout",
    "enip.cpf.itemcount", "enip.cpf.typeid", "enip.cpf.length", "enip.cpf.cai.connid",
    "enip.listid_delay", "enip.encapver",
    "enip.sinfamily", "enip.sinport", "enip.sinaddr", "enip.sinzero",
    "enip.lir.vendor", "enip.lir.devtype", "enip.lir.prodcode", "enip.lir.revision",
    "enip.lir.status", "enip.lir.serial", "enip.lir.namelen", "enip.lir.name", "enip.lir.state",
    "cip.rr", "cip.sc", "cip.genstat", "cip.addstat_size", "cip.addstat", "cip.seq",
    "cip.request_path_size", "cip.path_segment", "cip.class", "cip.instance", "cip.symbol",
    "cip.member", "cip.data",
    "cip.cm.genstat", "cip.cm.addstat_size", "cip.cm.ext_status", "cip.cm.remain_path_size",
    "cip.cm.priority", "cip.cm.tick_time", "cip.cm.timeout_tick",
    "cip.cm.ot_connid", "cip.cm.to_connid", "cip.cm.conn_serial_num", "cip.cm.vendor",
    "cip.cm.orig_serial_num", "cip.cm.timeout_multiplier", "cip.cm.otrpi", "cip.cm.torpi",
    "cip.cm.ot_net_params", "cip.cm.to_net_params", "cip.cm.fwo.consize", "cip.cm.fwo.f_v",
    "cip.cm.fwo.prio", "cip.cm.fwo.type", "cip.cm.fwo.owner", "cip.cm.fwo.dir",
    "cip.cm.fwo.trigger", "cip.cm.fwo.transport", "cip.cm.transport_type_trigger",
    "cip.cm.connpath_size", "cip.cm.otapi", "cip.cm.toapi", "cip.cm.app_reply_size",
]

COMPLAINTS = ("_ws.malformed || _ws.expert.severity >= Warning || tcp.analysis.flags"
              " || ip.checksum.status == Bad || tcp.checksum.status == Bad || data")


def tshark(capture, *arguments):
    command = ["tshark", "-r", capture, "-n", "-o", "tcp.check_checksum:TRUE",
               "-o", "ip.check_checksum:TRUE", *arguments]
    done = subprocess.run(command, capture_output=True, text=True, check=False, timeout=60)
    assert done.returncode == 0, f"tshark: {done.stderr}"
    return done.stdout.splitlines()


def complaints(capture, port=ENIP_PORT):
    """What tshark finds wrong with a capture of that port, one line each."""
    return tshark(capture, "-d", f"tcp.port=={port},enip", "-Y", COMPLAINTS,
                  "-T", "fields", "-E", f"separator={SEPARATOR}", "-e", "frame.number",
                  "-e", "_ws.col.Info", "-e", "_ws.expert.message",
                  "-e", "_ws.malformed", "-e", "tcp.checksum.status", "-e", "ip.checksum.status")


class Frame(dict):
    """Field names and values, as text; "" where the frame has no such field."""

    @property
    def number(self):
        return int(self["frame.number"])

    @property
    def is_request(self):
        return self["tcp.dstport"] == str(ENIP_PORT)


def frames(capture):
    """The EtherNet/IP frames of a capture."""
    asked = [argument for field in FIELDS for argument in ("-e", field)]
    lines = tshark(capture, "-Y", "enip", "-T", "fields", "-E", f"separator={SEPARATOR}",
                   "-E", "occurrence=a", "-E", f"aggregator={JOINT}", *asked)
    return [Frame(zip(FIELDS, line.split(SEPARATOR))) for line in lines]
