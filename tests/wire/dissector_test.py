#!/usr/bin/env python3
"""Captures what panelhost and plcsim exchange and holds every frame against its kind.

    dissector_test.py reading|writing|refusals|faults
"""

import sys
import tempfile

from conversation import Conversation
from dissection import complaints, frames
from scenarios import SCENARIOS
from tools import Simulator, capture


def check(scenario):
    """What is wrong with one conversation, and how many frames of each kind it had."""
    with tempfile.TemporaryDirectory() as directory, \
            Simulator(scenario.tags, *scenario.options) as simulator:
        path, done = capture(directory, simulator, *scenario.command)
        wrong = [f"tshark: {line}" for line in complaints(path)]
        conversation = Conversation(frames(path))
    wrong += conversation.faults
    if done.returncode != scenario.exit_code:
        wrong.append(f"panelhost ended with {done.returncode}: {done.stdout}{done.stderr}")
    seen = {exchange.row() for exchange in conversation.exchanges}
    wrong += [f"no such exchange: {row}" for row in scenario.exchanges if row not in seen]
    wrong += [f"no {kind}" for kind in scenario.kinds if kind not in conversation.kinds]
    if conversation.irregular != scenario.irregular:
        wrong.append(f"irregular: {conversation.irregular or 'nothing'}")
    if wrong:
        wrong += [f"seen: {row}" for row in sorted(seen)]
    return wrong, conversation.kinds


def main(group):
    failed = False
    for scenario in SCENARIOS[group]:
        wrong, kinds = check(scenario)
        print(f"{'FAILED' if wrong else 'ok':7} {scenario.name}: " +
              ", ".join(f"{count} {kind}" for kind, count in sorted(kinds.items())))
        print("".join(f"        {line}\n" for line in wrong), end="")
        failed = failed or bool(wrong)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
