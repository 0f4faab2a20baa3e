"""Every kind of frame that panelhost and plcsim exchange, with the value of each of its fields.

A value in angle brackets is one that the conversation chose: "<new X>" is learned under that name
and must not be zero, "<X>" must be the value learned before.
"""

HEADER = {"enip.status": "0x00000000", "enip.context": "0000000000000000",
          "enip.options": "0x00000000"}

REGISTER_SESSION = {**HEADER, "enip.command": "0x0065", "enip.length": "4",
                    "enip.rs.version": "1", "enip.rs.flags": "0x0000"}

UNCONNECTED = {**HEADER, "enip.command": "0x006f", "enip.session": "<session>",
               "enip.srrd.iface": "0x00000000", "enip.timeout": "0", "enip.cpf.itemcount": "2",
               "enip.cpf.typeid": "0x0000,0x00b2"}

CONNECTED = {**HEADER, "enip.command": "0x0070", "enip.session": "<session>",
             "enip.sud.iface": "0x00000000", "enip.cpf.itemcount": "2",
             "enip.cpf.typeid": "0x00a1,0x00b1"}

TRIAD = {"cip.cm.conn_serial_num": "<serial>", "cip.cm.vendor": "0xf850",
         "cip.cm.orig_serial_num": "<originator>"}

CONNECTION_MANAGER = {"cip.sc": "0x54", "cip.request_path_size": "2",
                      "cip.path_segment": "0x20,0x24,0x20,0x24", "cip.class": "0x06,0x02",
                      "cip.instance": "0x01,0x01"}

# Both ways: 504 bytes of variable size, point to point, low priority, an owner of its own.
CONNECTION_PARAMETERS = {
    "cip.cm.ot_net_params": "0x43f8", "cip.cm.to_net_params": "0x43f8",
    "cip.cm.fwo.consize": "504,504", "cip.cm.fwo.f_v": "1,1", "cip.cm.fwo.prio": "0,0",
    "cip.cm.fwo.type": "2,2", "cip.cm.fwo.owner": "0,0"}

# Class 3, triggered by the application, the controller being the server.
TRANSPORT = {"cip.cm.transport_type_trigger": "0xa3", "cip.cm.fwo.dir": "1",
             "cip.cm.fwo.trigger": "2", "cip.cm.fwo.transport": "3"}

READ_TAG = {"cip.sc": "0x4c"}
WRITE_TAG_FRAGMENTED = {"cip.sc": "0x53"}
CONNECTED_REQUEST = {**CONNECTED, "enip.timeout": "1", "enip.cpf.cai.connid": "<ot>",
                     "cip.rr": "0x00"}
CONNECTED_REPLY = {**CONNECTED, "enip.timeout": "0", "enip.cpf.cai.connid": "<to>",
                   "cip.rr": "0x01"}

LIST_IDENTITY = {**HEADER, "enip.command": "0x0063", "enip.session": "0x00000000"}

REQUESTS = {
    "ListIdentity": {  # which shows the first two bytes of the context as a delay
        **LIST_IDENTITY, "enip.length": "0",
        "enip.listid_delay": "0", "enip.context": "000000000000"},
    "RegisterSession": {**REGISTER_SESSION, "enip.session": "0x00000000"},
    "Forward Open": {
        **UNCONNECTED, **CONNECTION_MANAGER, **CONNECTION_PARAMETERS, **TRANSPORT,
        "enip.length": "62", "enip.cpf.length": "0,46", "cip.rr": "0x00,0x00",
        "cip.cm.priority": "0", "cip.cm.tick_time": "5", "cip.cm.timeout_tick": "247",
        "cip.cm.ot_connid": "0x80000002", "cip.cm.to_connid": "<new to>",
        "cip.cm.conn_serial_num": "<new serial>", "cip.cm.vendor": "0xf850",
        "cip.cm.orig_serial_num": "<new originator>", "cip.cm.timeout_multiplier": "2",
        "cip.cm.otrpi": "2000000", "cip.cm.torpi": "2000000", "cip.cm.connpath_size": "2"},
    "Read Tag": {**CONNECTED_REQUEST, **READ_TAG},
    "Write Tag Fragmented": {**CONNECTED_REQUEST, **WRITE_TAG_FRAGMENTED},
}

REPLIES = {
    "ListIdentity": {
        **LIST_IDENTITY, "enip.length": "55", "enip.cpf.itemcount": "1",
        "enip.cpf.typeid": "0x000c", "enip.cpf.length": "49", "enip.encapver": "1",
        "enip.sinfamily": "2", "enip.sinport": "<new port>", "enip.sinaddr": "127.0.0.1",
        "enip.sinzero": "0000000000000000",
        "enip.lir.vendor": "0x0001", "enip.lir.devtype": "14", "enip.lir.prodcode": "141",
        "enip.lir.revision": "1547", "enip.lir.status": "0x0034", "enip.lir.serial": "0x604e1ef7",
        "enip.lir.namelen": "15", "enip.lir.name": "2080-LC50-24QWB", "enip.lir.state": "0x03"},
    "RegisterSession": {**REGISTER_SESSION, "enip.session": "<new session>"},
    "RegisterSession refused": {**REGISTER_SESSION, "enip.session": "0x00000000",
                                "enip.status": "0x00000002"},
    "Forward Open": {
        **UNCONNECTED, **CONNECTION_MANAGER, **TRIAD,
        "enip.length": "46", "enip.cpf.length": "0,30", "cip.rr": "0x01,0x01",
        "cip.genstat": "0x00", "cip.addstat_size": "0",
        "cip.cm.ot_connid": "<new ot>", "cip.cm.to_connid": "<to>",
        "cip.cm.otapi": "2000000", "cip.cm.toapi": "2000000", "cip.cm.app_reply_size": "0"},
    "Forward Open refused": {
        **UNCONNECTED, **CONNECTION_MANAGER, **TRIAD,
        "enip.length": "32", "enip.cpf.length": "0,16", "cip.rr": "0x01,0x01",
        "cip.cm.genstat": "0x01", "cip.cm.addstat_size": "1", "cip.cm.ext_status": "0x0100",
        "cip.cm.remain_path_size": "0", "cip.cm.ot_connid": "", "cip.cm.to_connid": ""},
    "Read Tag": {**CONNECTED_REPLY, **READ_TAG, "cip.genstat": "0x00", "cip.addstat_size": "0"},
    "Read Tag refused": {**CONNECTED_REPLY, **READ_TAG, "cip.data": ""},
    "Write Tag Fragmented": {**CONNECTED_REPLY, **WRITE_TAG_FRAGMENTED, "cip.genstat": "0x00",
                             "cip.addstat_size": "0", "cip.data": ""},
    "Write Tag Fragmented refused": {**CONNECTED_REPLY, **WRITE_TAG_FRAGMENTED, "cip.data": ""},
}

NAMES = {"0x0063": "ListIdentity", "0x0065": "RegisterSession", "0x54": "Forward Open",
         "0x4c": "Read Tag", "0x53": "Write Tag Fragmented"}


def kind_of(frame):
    """The name of a frame's kind and the fields it must have; (name, None) for an unknown one."""
    name = NAMES.get(frame["enip.command"]) or NAMES.get(frame["cip.sc"], "unknown")
    if frame.is_request:
        return name + " request", REQUESTS.get(name)
    general_status = frame["cip.cm.genstat"] or frame["cip.genstat"] or "0x00"
    refused = general_status != "0x00" or frame["enip.status"] != "0x00000000"
    name += " refused" if refused else ""
    return name + " reply", REPLIES.get(name)
