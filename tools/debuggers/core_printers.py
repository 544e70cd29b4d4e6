# How gdb shows the library's values: numbers and texts instead of tagged unions,
# keyframes in a line, documents and curves as the trees and lists that they are.
#
#     (gdb) source core_printers.py
#     (gdb) print opacity
#     $1 = double parameter, 2 keyframes = {0 s: 0.0, EaseOutCubic, 1.5 s: 1.0, Hold}
#
# Nothing is called in the program, so that core files and halted threads will do. How
# much of a list is shown follows `set print elements`. What is in a parameter or a
# document is in the library's own debug information, which may have to be installed.
import uuid

import gdb
import gdb.printing
import gdb.types


def quoted(pointer, length=-1):
    """The text at a pointer as a C string would be written, cut at 200 bytes."""
    if int(pointer) == 0:
        return "null"
    if length > 200:
        return '"%s"...' % escaped(pointer, 200)
    return '"%s"' % escaped(pointer, length)


def escaped(pointer, length):
    text = pointer.string("utf-8", "backslashreplace", length)
    for plain, escape in (("\\", "\\\\"), ('"', '\\"'), ("\n", "\\n"), ("\t", "\\t")):
        text = text.replace(plain, escape)
    return text


def std_string(value):
    return quoted(value["_M_dataplus"]["_M_p"], int(value["_M_string_length"]))


def std_vector(value):
    """Begin and number of elements."""
    start = value["_M_impl"]["_M_start"]
    return start, int(value["_M_impl"]["_M_finish"] - start)


def enumerator(value):
    """The name after the last colons; the number where it has none."""
    name = str(value).split("::")[-1].rstrip(")")
    return name if name[:1].isalpha() else "type %d" % int(value)


def counted(count, noun):
    return "%d %s%s" % (count, noun, "" if count == 1 else "s")


class Point:
    """core::Pointd"""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        return "(%r, %r)" % (float(self.value["x"]), float(self.value["y"]))


class Any:
    """core::ValAny"""

    def __init__(self, value):
        self.value = value

    def boxed(self, name):
        # The object follows the pointer to the table of virtual functions.
        address = int(self.value["payload"]["box"]) + 8
        return gdb.Value(address).cast(gdb.lookup_type(name).pointer()).dereference()

    def to_string(self):
        kind, payload = int(self.value["kind"]), self.value["payload"]
        if kind == 0:
            return "none"
        if kind == 1:
            return "true" if int(payload["signed64"]) else "false"
        if kind in (2, 4):
            return str(int(payload["signed64"]))
        if kind in (3, 5):
            return "%du" % int(payload["unsigned64"])
        if kind == 6:
            return "%.9gf" % float(payload["single"])
        if kind == 7:
            return repr(float(payload["real"]))
        if kind == 272:
            return Point(self.boxed("core::Pointd")).to_string()
        if kind == 288:
            return std_string(self.boxed("std::string"))
        return "kind %d" % kind


class Keyframe:
    """core::TimeValuePair"""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        value = self.value
        text = "%.10g s: %s, %s" % (float(value["time"]), Any(value["value"]).to_string(),
                                    enumerator(value["interpolation"]))
        handles = [float(value[name]) for name in ("leftX", "leftY", "rightX", "rightY")]
        if any(handles):
            text += ", handles (%.10g, %.10g) (%.10g, %.10g)" % tuple(handles)
        return text


class Curve:
    """core::BigParameterImpl and what is derived from it"""

    def __init__(self, value):
        self.value = value
        self.curve = value["curve"]["object"].dereference()

    def to_string(self):
        settings = self.curve["settings"]
        count = int(self.curve["count"])
        kind = enumerator(settings["type"]).replace("Parameter", "").lower()
        parts = [kind + " parameter", counted(count, "keyframe")]
        actual = self.value.dynamic_type
        if actual.name == "core::SpeedParameterImpl":
            speed = self.value.cast(actual)
            parts[0] = "speed curve of %.10g s" % float(speed["sourceTotalTime"])
            freezes = std_vector(speed["freezes"]["object"].dereference()["freezes"])[1]
            if freezes:
                parts.append(counted(freezes, "freeze"))
            if int(speed["reverse"]["_M_i"]):
                parts.append("reverse")
        if int(settings["baseRatio"]["kind"]):
            parts.append("base ratio " + Any(settings["baseRatio"]).to_string())
        return ", ".join(parts)

    def children(self):
        slots, blocks = std_vector(self.curve["slots"])
        index = 0
        for place in range(blocks):
            block = (slots + place).dereference()["block"]["object"].dereference()
            start, count = std_vector(block["keyframes"])
            for offset in range(count):
                yield "[%d]" % index, (start + offset).dereference()
                index += 1

    def display_hint(self):
        return "array"


class Parameter:
    """core::KeyframeHandle and what is derived from it"""

    def __init__(self, value):
        implementation = value["impl"].address.cast(gdb.lookup_type("void").pointer().pointer())
        self.curve = None
        if int(implementation.dereference()) == 0:
            self.what = "moved from"
            return
        try:
            kind = gdb.lookup_type("core::BigParameterImpl")
            self.curve = Curve(implementation.dereference().cast(kind.pointer()).dereference())
        except gdb.error:
            self.what = "parameter; without the library's debug information no more is known"

    def to_string(self):
        return self.curve.to_string() if self.curve else self.what

    def children(self):
        return self.curve.children() if self.curve else iter(())

    def display_hint(self):
        return "array"


def list_of(container):
    """The nodes of a JsonArray or JsonObject, no more than it counts."""
    node = container["first"]
    for _ in range(int(container["count"])):
        if int(node) == 0:
            return
        yield node.dereference()
        node = node["next"]


class JsonText:
    """core::JsonString"""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        storage = self.value["storage"]
        if int(self.value["capacity"]) <= 16:
            return quoted(storage["inPlace"].address.cast(storage["heap"].type))
        return quoted(storage["heap"])


class JsonArray:
    """core::JsonArray"""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        return "array of %d" % int(self.value["count"])

    def children(self):
        for index, node in enumerate(list_of(self.value)):
            yield "[%d]" % index, node

    def display_hint(self):
        return "array"


class JsonObject:
    """core::JsonObject"""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        return "object of %d" % int(self.value["count"])

    def children(self):
        for index, node in enumerate(list_of(self.value)):
            yield "name %d" % index, node["name"].dereference()
            yield "value %d" % index, node

    def display_hint(self):
        return "map"


class JsonValue:
    """core::JsonValue, and as that the elements and members of containers"""

    def __init__(self, value):
        kind, payload = int(value["kind"]), value["payload"]
        self.container = None
        if kind == 102:
            self.container = JsonArray(payload["array"].dereference())
        elif kind == 103:
            self.container = JsonObject(payload["object"].dereference())
        else:
            self.text = JsonValue.scalar(kind, payload)

    @staticmethod
    def scalar(kind, payload):
        if kind == 2:
            return "true" if int(payload["boolean"]) else "false"
        if kind == 3:
            return str(int(payload["signed64"]))
        if kind == 4:
            return "%du" % int(payload["unsigned64"])
        if kind == 5:
            return repr(float(payload["real"]))
        if kind == 101:
            return JsonText(payload["string"].dereference()).to_string()
        return {0: "empty", 1: "null"}.get(kind, "kind %d" % kind)

    def to_string(self):
        return self.container.to_string() if self.container else self.text

    def children(self):
        return self.container.children() if self.container else iter(())

    def display_hint(self):
        return self.container.display_hint() if self.container else None


class JsonDoc:
    """core::JsonDoc"""

    def __init__(self, value):
        self.root = value["root"]

    def to_string(self):
        return "document"

    def children(self):
        yield "root", self.root


class PackedItem:
    """core::BsonItem"""

    SIZES = {3: 1, 4: 2, 5: 4, 6: 8, 7: 1, 8: 2, 9: 4, 10: 8, 11: 4, 12: 8, 14: 4, 15: 4}

    def __init__(self, value):
        self.value = value

    def to_string(self):
        kind, bits = int(self.value["kind"]), int(self.value["bits"])
        if kind == 2:
            return "true" if bits & 0xFF else "false"
        if kind == 13:
            return std_string(self.value["text"])
        if kind not in self.SIZES:
            return {0: "none", 1: "nil"}.get(kind, "kind %d" % kind)
        size = self.SIZES[kind]
        raw = (bits & ((1 << 8 * size) - 1)).to_bytes(size, "little")
        if kind in (11, 12):
            name = "float" if kind == 11 else "double"
            number = gdb.Value(raw, gdb.lookup_type(name))
            return "%.9gf" % float(number) if kind == 11 else repr(float(number))
        number = int.from_bytes(raw, "little", signed=not 7 <= kind <= 10)
        if kind in (14, 15):
            return ("array of %d" if kind == 14 else "map of %d") % number
        return "%d%s" % (number, "u" if 7 <= kind <= 10 else "")


class Identifier:
    """core::Uuid"""

    def __init__(self, value):
        self.data = value["bytes"]

    def to_string(self):
        return str(uuid.UUID(bytes=bytes(int(self.data[i]) for i in range(16))))


def where_known(printer):
    """Leaves to gdb a class of which the program knows no more than the name."""
    return lambda value: printer(value) if gdb.types.get_basic_type(value.type).fields() else None


def printers():
    collection = gdb.printing.RegexpCollectionPrettyPrinter("core")
    for name, printer in (
        ("Pointd", Point),
        ("ValAny", Any),
        ("TimeValuePair", Keyframe),
        ("(?:KeyframeHandle|Parameter|BigKeyframe|SpeedParameter)", Parameter),
        ("(?:BigParameterImpl|SpeedParameterImpl)", Curve),
        ("JsonString", JsonText),
        ("JsonArray", JsonArray),
        ("JsonObject", JsonObject),
        ("(?:JsonValue|JsonElem|JsonMember)", JsonValue),
        ("JsonDoc", JsonDoc),
        ("BsonItem", PackedItem),
        ("Uuid", Identifier),
    ):
        collection.add_printer(printer.__name__, "^core::%s$" % name, where_known(printer))
    return collection


gdb.printing.register_pretty_printer(gdb.current_objfile(), printers(), replace=True)
