"""plcsim and panelhost, as a test runs them."""

import os
import subprocess
import tempfile

from capture_file import CaptureFile
from dissection import ENIP_PORT, complaints

READY = "plcsim: listening on "


class Simulator:
    """A plcsim on a free port of this machine."""

    def __init__(self, tags, *options):
        with tempfile.NamedTemporaryFile("w", suffix=".toml") as file:
            file.write(tags)
            file.flush()
            self.process = subprocess.Popen(
                [os.environ["PLCSIM"], "--tags", file.name, "--listen", "127.0.0.1:0", *options],
                stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
            ready = self.process.stdout.readline()
        assert ready.startswith(READY), f"plcsim did not start: {ready!r}"
        self.address = ready[len(READY):].strip()
        self.port = int(self.address.split(":")[1])

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()


def capture(directory, simulator, command, *arguments):
    """Runs panelhost with --capture; gives a capture on the port of EtherNet/IP and its output."""
    original = os.path.join(directory, "as_captured.pcap")
    called = [os.environ["PANELHOST"], command, simulator.address, *arguments,
              "--capture", original]
    done = subprocess.run(called, capture_output=True, text=True, check=False, timeout=60)
    assert os.path.exists(original), f"panelhost wrote no capture: {done.stderr}"
    bad_packets = complaints(original, simulator.port)
    assert not bad_packets, f"tshark complains of the capture as it is: {bad_packets}"
    file = CaptureFile(original)
    file.move_port(simulator.port, ENIP_PORT)
    moved = os.path.join(directory, "moved.pcap")
    file.save(moved)
    return moved, done
