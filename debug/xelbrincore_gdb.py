"""Shows the values of XelbrinCore in gdb as people read them.

    (gdb) source <installed folder>/share/XelbrinCore/debug/xelbrincore_gdb.py

Texts are shown up to gdb's "print characters" limit. Nothing of the program is called: core dumps work as well.
"""
import datetime
import struct

import gdb
import gdb.printing

UNITS = ("Year", "Month", "Week", "Day", "Hour", "Minute", "Second", "Millisecond")
EPOCH = datetime.datetime(1970, 1, 1)
FIRST_DAY = datetime.date(1899, 1, 1)
ESCAPES = {'"': '\\"', "\\": "\\\\", "\n": "\\n", "\r": "\\r", "\t": "\\t", "\0": "\\0"}


def quoted(units, cut):
    """UTF-16 bytes as a quoted text; lone surrogates and control characters as escapes."""
    shown = []
    for character in units.decode("utf-16-le", "surrogatepass"):
        code = ord(character)
        if character in ESCAPES:
            shown.append(ESCAPES[character])
        elif code < 0x20 or 0xD800 <= code < 0xE000:
            shown.append(f"\\u{code:04x}")
        else:
            shown.append(character)
    return '"' + "".join(shown) + '"' + ("..." if cut else "")


def string_text(value):
    header = value["m_data"].dereference()
    length = int(header["length"])
    limit = gdb.parameter("print elements")
    count = length if not limit else min(length, int(limit))
    text = int(value["m_data"]) + header.type.sizeof
    return quoted(bytes(gdb.selected_inferior().read_memory(text, 2 * count)) if count else b"", count < length)


def date_text(value):
    word = int(value["m_word"])
    if word == 0:
        return "no date"
    year = (word >> 9) - (1 << 23 if word >> 31 else 0)
    return f"{year:04d}/{word >> 5 & 15:02d}/{word & 31:02d}"


def time_text(value):
    count = int(value["m_count"])
    if count < 0:
        return "no time"
    seconds, milliseconds = divmod(count, 1000)
    return f"{seconds // 3600:02d}:{seconds // 60 % 60:02d}:{seconds % 60:02d}.{milliseconds:03d}"


def date_time_text(value):
    date, time = date_text(value["m_date"]), time_text(value["m_time"])
    parts = [part for part in (date, time) if not part.startswith("no ")]
    return " ".join(parts) + (" UTC" if len(parts) == 2 else "") if parts else "no date, no time"


def duration_text(value):
    unit, count = int(value["m_unit"]), int(value["m_count"])
    return f"{count} {UNITS[unit]}" if unit < len(UNITS) else f"{count} of no unit"


def old_date_text(value):
    days = int(value["m_days"])
    try:
        return (FIRST_DAY + datetime.timedelta(days=days)).strftime("%Y/%m/%d")
    except OverflowError:
        return f"day {days}"


def old_date_time_text(value):
    seconds = int(value["m_seconds"])
    if seconds == -2**63:
        return "null"
    try:
        return (EPOCH + datetime.timedelta(seconds=seconds)).strftime("%Y/%m/%d %H:%M:%S UTC")
    except OverflowError:
        return f"second {seconds}"


def guid_text(value):
    tail = [int(value["m_data4"]["_M_elems"][i]) for i in range(8)]
    fields = int(value["m_data1"]), int(value["m_data2"]), int(value["m_data3"])
    rest = "".join(f"{byte:02X}" for byte in tail)
    return f"{{{fields[0]:08X}-{fields[1]:04X}-{fields[2]:04X}-{rest[:4]}-{rest[4:]}}}"


def double_text(value):
    return f"{float(value['m_value']):.{int(value['m_decimals'])}f}"


def plug_in_id_text(value):
    return f"{guid_text(value['m_guid'])} {string_text(value['m_text'])}"


def counted_object(pointer):
    """The object that a counted pointer holds, in its own class; None for null."""
    held = pointer["m_object"]
    return held.dereference().cast(held.dynamic_type.target()) if int(held) else None


def pointer_text(value):
    target = counted_object(value)
    if target is None:
        return "null"
    shown = error_text(target) if is_error(target.type) else f"<{target.type.unqualified().name}>"
    return f"{shown} at {int(value['m_object']):#x}, {int(target['m_count']['m_count']['_M_i'])} owners"


def is_error(kind):
    kind = kind.unqualified()
    return kind.name == "XCErrorI" or any(field.is_base_class and is_error(field.type) for field in kind.fields())


def error_text(target):
    severity = str(target["m_severity"]).rsplit("::", 1)[-1].removeprefix("Severity")
    name = target.type.unqualified().name
    own = " " + string_text(target["m_text"]) if name == "XCErrorString" else ""
    return f"{name} {int(target['m_code'])} {severity}{own}"


def error_id_text(value):
    target = counted_object(value["m_error"])
    return "Success" if target is None else error_text(target)


class Printer:
    """Shows a value by one of the functions above."""

    def __init__(self, value, text):
        self.value, self.text = value, text

    def to_string(self):
        try:
            return self.text(self.value)
        except (gdb.MemoryError, struct.error):
            return "<unreadable>"


def printer_of(text):
    return lambda value: Printer(value, text)


def collection():
    printers = gdb.printing.RegexpCollectionPrettyPrinter("XelbrinCore")
    for name, text in (
            ("XCString", string_text), ("XCErrorID", error_id_text), ("XCSmartPtr(ToConst)?<.*>", pointer_text),
            ("XCDateEx", date_text), ("XCTimeEx", time_text), ("XCDateTimeEx", date_time_text),
            ("XCDurationEx", duration_text), ("XCDate", old_date_text), ("XCDateTime", old_date_time_text),
            ("XCDouble", double_text), ("XCGuid", guid_text), ("PlugInIdEx", plug_in_id_text)):
        printers.add_printer(name, f"^{name}$", printer_of(text))
    return printers


gdb.printing.register_pretty_printer(None, collection(), replace=True)
