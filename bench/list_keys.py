#!/usr/bin/python3
"""list_keys.py DB: every key of a buxton database file with its decoded value.

What an engineer without the debug menu would write: read the rows with
Python's sqlite3, undo the base64 and let GLib's GVariant (PyGObject) take the
record apart. Needs Debian's python3-gi.
"""
import base64
import sqlite3
import sys

import gi

gi.require_version("GLib", "2.0")
from gi.repository import GLib  # noqa: E402

BOXED = GLib.VariantType.new("v")


def main(path):
    out = sys.stdout
    db = sqlite3.connect(path)
    for index, (key, data) in enumerate(db.execute("select key, data from buxton")):
        try:
            raw = base64.b64decode(data)
            record = GLib.Variant.new_from_bytes(BOXED, GLib.Bytes.new(raw), True).get_variant()
            fields = [record.get_child_value(i) for i in range(record.n_children())]
            value = fields[-1].get_variant()
            rp, wp = fields[0].get_string(), fields[1].get_string()
            setter = fields[2].get_string() if len(fields) == 4 else "empty"
            out.write(f"[{index}] key({key}) value({value.unpack()}) rp({rp}) wp({wp}) "
                      f"type({value.get_type_string()}) setter({setter})\n")
        except (TypeError, ValueError) as error:
            out.write(f"[{index}] key({key}) cannot decode: {error}\n")
    db.close()


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(sys.argv[1])
