"""The table of kinds. A maker gets the formats in a byte order and the wanted size in bytes, and returns a file."""
from typing import Callable, NamedTuple

# Each thread that fills units has a table and a bound of its own, so one of them is measured.
STATS, DUMP, TEXT = "stats --jobs 1 --json FILE", "dump --jobs 1 --json FILE", "dump --jobs 1 FILE"
# So many questions that the last ones are answered by an index.
FIND = "find FILE " + " ".join(f"n{number}" for number in range(65))
WHERE = "where FILE 0x1 0x100 0x8000 0x10000 0x101 0x8001"


class Kind(NamedTuple):
    name: str
    make: Callable
    commands: tuple
    sound: tuple  # sets of rules by which the file is as the formats have it: the loader has to read all of it then


kinds = []


def kind(name, /, *more, only=(), sound=False, published=False, **arguments):
    """Enters a maker. It is run with `stats` and `dump --json`, and with `more`; with `only` those instead.

    The maker of a sound file returns the file and what `stats` has to count in it; it is sound by the published rules
    only, or by both.
    """
    def enter(make):
        commands = only or (STATS, DUMP, *more)
        rules = ("published",) if published else ("loader", "published")
        kinds.append(Kind(name, lambda formats, size: make(formats, size, **arguments), commands, rules * sound))
        return make
    return enter


def orders(count):
    """Names of orders, and the numbers below `count` in them, for what is sorted as it is read."""
    def outside_in():
        return [number for i in range(count // 2) for number in (i, count - 1 - i)]

    # The last number comes first, so that none of the others is put at the end.
    return {"ascending": lambda: [count - 1, *range(count - 1)],
            "descending": lambda: range(count - 1, -1, -1),
            "outside-in": outside_in,
            "inside-out": lambda: outside_in()[::-1],
            "scattered": lambda: [i * 0x9E3779B1 % 0x100000001 % count for i in range(count)],
            "equal": lambda: [7] * count}


ORDERS = tuple(orders(2))
