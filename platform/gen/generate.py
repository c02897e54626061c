#!/usr/bin/env python3
"""Regenerates the platform declarations, the ARM layout check, the
simulator's call stubs and type tables, and the error-name table from
platform/facts.

Run by a developer after changing the facts or this generator; the outputs are
committed so that a build needs no Python.
"""
import sys

from facts import Facts
from headers import HeaderWriter
import errors
import layout
from simgen import SimWriter


def main():
    facts = Facts()
    writer = HeaderWriter(facts)
    headers = writer.write()
    # include cycles would make declaration order depend on the first include
    graph = {h: [d for d, ours in writer.own_includes(h) if ours] for h in headers}
    seen, stack = set(), []

    def visit(h):
        if h in stack:
            sys.exit("header include cycle: " + " -> ".join(stack[stack.index(h):] + [h]))
        if h in seen:
            return
        stack.append(h)
        for d in graph[h]:
            visit(d)
        stack.pop()
        seen.add(h)
    for h in headers:
        visit(h)
    layout.write(facts, headers)
    SimWriter(facts).write()
    errors.write(facts)
    print("%d headers" % len(headers))


if __name__ == "__main__":
    main()
