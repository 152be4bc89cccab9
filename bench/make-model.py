#!/usr/bin/env python3
"""Writes a model of many blocks: eight children a block, a condition at two blocks in five.

    bench/make-model.py BLOCKS [--shuffled] > model.json

The same arguments give the same bytes. With --shuffled, parents stand before and behind their
children.
"""
import random
import sys


def term(rng):
    kind = rng.randrange(4)
    if kind == 0:
        return "Option%d" % rng.randrange(60)
    if kind == 1:
        return "~Option%d" % rng.randrange(60)
    return "Size%d %s %d" % (rng.randrange(20), rng.choice(["==", "~=", "<", ">="]), rng.randrange(6))


def condition(rng):
    text = term(rng)
    if rng.randrange(2) == 0:
        text += rng.choice([" && ", " && ", " || "]) + term(rng)
    return text


def block(index, rng):
    parent = "null" if index == 0 else '"BlockNumber%07d"' % ((index - 1) // 8)
    text = '{"id": "BlockNumber%07d", "parent": %s' % (index, parent)
    if rng.randrange(5) < 2:
        own = condition(rng)
        text += ', "VV": "%s", "CG": "%s"' % (own, own if rng.randrange(8) else condition(rng))
        if rng.randrange(8) == 0:
            text += ', "S": "%s"' % term(rng)
    return text + "}"


def main():
    arguments = [word for word in sys.argv[1:] if word != "--shuffled"]
    if len(arguments) != 1 or not arguments[0].isdigit():
        sys.exit("usage: make-model.py BLOCKS [--shuffled] > model.json")
    rng = random.Random(1)
    order = list(range(int(arguments[0])))
    if len(arguments) != len(sys.argv) - 1:
        random.Random(2).shuffle(order)
    texts = [block(index, rng) for index in range(len(order))]
    sys.stdout.write('{"blocks": [')
    for place, index in enumerate(order):
        sys.stdout.write(("\n" if place == 0 else ",\n") + texts[index])
    sys.stdout.write("\n]}\n")


main()
