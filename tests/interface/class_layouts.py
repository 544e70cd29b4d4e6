# Prints the layout of every class in the public headers: size, alignment, members
# with offset, size and type, and the slots of the table of virtual functions.
#
# Runs inside gdb, over an object file with the debug information of core.h; see
# class_layouts.sh. Comments and functions that are not virtual leave no trace.
import re
import subprocess

import gdb

LONG_BITS = 8 * gdb.lookup_type("long").sizeof


def spelled_alike(text):
    """A type's text with one spelling on every platform and from every compiler."""
    text = text.replace("[abi:cxx11]", "")
    text = re.sub(r"\bstd::__cxx11::", "std::", text)
    text = re.sub(r"\bstd::basic_string<char, std::char_traits<char>, std::allocator<char> ?>",
                  "std::string", text)
    text = re.sub(r"\b(?:std::)?size_t\b|\bunsigned long long( int)?\b|\blong long unsigned int\b",
                  "uint64", text)
    text = re.sub(r"\blong long( int)?\b", "int64", text)
    text = re.sub(r"\bunsigned long( int)?\b|\blong unsigned int\b", "uint%d" % LONG_BITS, text)
    text = re.sub(r"\blong( int)?\b", "int%d" % LONG_BITS, text)
    return re.sub(r"\s*([*&]+)", r"\1", re.sub(r"\s+>", ">", text))


def type_text(kind):
    bare = kind.strip_typedefs().unqualified()
    if bare.code == gdb.TYPE_CODE_INT and bare.sizeof > 1:
        return ("uint%d" if str(bare).startswith(("unsigned", "uint")) else "int%d") % (
            8 * bare.sizeof)
    if bare.code in (gdb.TYPE_CODE_UNION, gdb.TYPE_CODE_STRUCT) and not bare.name:
        return "union" if bare.code == gdb.TYPE_CODE_UNION else "struct"
    return spelled_alike(str(kind))


def virtual_functions():
    """Per class, its virtual functions in the order of declaration: signature and slot,
    which compilers leave out for a destructor."""
    path = gdb.objfiles()[0].filename
    text = subprocess.run(["objdump", "--dwarf=info", path], check=True, text=True,
                          stdout=subprocess.PIPE).stdout
    found = []
    for entry in re.split(r"^ *<.*Abbrev Number.*$", text, flags=re.MULTILINE):
        name = re.search(r"DW_AT_linkage_name.*\b(_Z\w+)", entry)
        if name and "DW_AT_virtuality" in entry:
            slot = re.search(r"DW_AT_vtable_elem_location.*DW_OP_constu: (\d+)", entry)
            found.append((name.group(1), int(slot.group(1)) if slot else None))
    names = subprocess.run(["c++filt"], input="\n".join(name for name, _ in found), check=True,
                           text=True, stdout=subprocess.PIPE).stdout.splitlines()
    functions = {}
    for name, (_, slot) in zip(names, found):
        head, arguments = name.split("(", 1)
        owner, function = head.rsplit("::", 1)
        functions.setdefault(owner, []).append((spelled_alike(function + "(" + arguments), slot))
    return functions


def table_size(kind):
    """How many slots the table of virtual functions has."""
    bases = [field.type for field in kind.fields() if field.is_base_class]
    return max([table_size(base) for base in bases] + [slot + 1 for slot, _ in new_slots(kind)],
               default=0)


def new_slots(kind):
    """The slots that the class adds to those of its base: number and signature."""
    bases = [field.type for field in kind.fields() if field.is_base_class]
    inherited = next_slot = max([table_size(base) for base in bases], default=0)
    added = []
    for signature, slot in FUNCTIONS.get(kind.name, []):
        if slot is None and inherited == 0:
            # It destroys, and it destroys and deletes.
            added += [(next_slot, signature), (next_slot + 1, signature)]
            next_slot += 2
        elif slot is not None and slot >= inherited:
            added.append((slot, signature))
            next_slot = slot + 1
    return added


def print_members(kind, start, indent):
    for field in kind.fields():
        if not hasattr(field, "bitpos"):
            continue  # a static member
        offset = start + field.bitpos // 8
        if field.is_base_class:
            what = "base " + spelled_alike(field.name)
        elif field.name and field.name.startswith("_vptr"):
            what = "table of virtual functions"
        else:
            what = "%s: %s" % (field.name or "unnamed", type_text(field.type))
        print("%s%3d %3d  %s" % (indent, offset, field.type.sizeof, what))
        inner = field.type.strip_typedefs()
        if inner.code in (gdb.TYPE_CODE_UNION, gdb.TYPE_CODE_STRUCT) and not inner.name:
            print_members(inner, offset, indent + "    ")


def print_layout(name):
    kind = gdb.lookup_type(name)
    print("%s: %d bytes, aligned to %d" % (spelled_alike(name), kind.sizeof, kind.alignof))
    if kind.code == gdb.TYPE_CODE_ENUM:
        for field in kind.fields():
            print("    %s = %d" % (field.name.split("::")[-1], field.enumval))
        return
    print_members(kind, 0, "    ")
    for slot, signature in new_slots(kind):
        print("    slot %d  %s" % (slot, signature))


def public_types():
    text = gdb.execute("info types ^core::\\|^CoreLog", to_string=True)
    for name in re.findall(r"^\d+:\s+(?:struct |enum |class )?((?:core::|Core).*);$", text,
                           re.MULTILINE):
        kind = gdb.lookup_type(name)
        if kind.code in (gdb.TYPE_CODE_STRUCT, gdb.TYPE_CODE_UNION, gdb.TYPE_CODE_ENUM):
            if kind.code == gdb.TYPE_CODE_ENUM or kind.sizeof:
                yield name


FUNCTIONS = virtual_functions()
for name in sorted(set(public_types()), key=spelled_alike):
    print_layout(name)
