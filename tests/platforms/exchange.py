"""Messages made on one system and read on every other."""

import functools
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "interop"))
import matrix  # noqa: E402

SIZES = (0, 1000)


class Machine(matrix.Partner):
    """A system's build of the library. It makes each token once, and all others read that one."""

    def __init__(self, name, command):
        super().__init__(name, command)
        for operation in ("sign", "encrypt", "encode"):
            setattr(self, operation, self.once(getattr(self, operation)))

    @staticmethod
    def once(operation):
        made = {}

        @functools.wraps(operation)
        def remember(*arguments, **header):
            key = repr((arguments, header))
            if key not in made:
                made[key] = operation(*arguments, **header)
            return made[key]
        return remember


def exchange(machines):
    """Returns, by name, how many messages of the others each machine has read. Raises an error if it cannot."""
    read = {}
    for reader in machines:
        read[reader.name] = 0
        for maker in machines:
            if maker is reader:
                continue
            for name, _, carry in matrix.rows(maker):
                for size in SIZES:
                    data = bytes(i % 251 for i in range(size))
                    if carry(maker, reader, data) != matrix.encoded(data):
                        raise AssertionError(f"{name}: {reader.name} changed the message of {maker.name}")
                    read[reader.name] += 1
            matrix.read_keys(maker, reader)
    return read
