# Holds core.natvis against the debug information of the library: it is well-formed,
# its types exist, and its expressions name members that those have.
import os
import re
import xml.etree.ElementTree as tree

import gdb

path = os.path.join(os.path.dirname(__file__), "..", "..", "tools", "debuggers", "core.natvis")
SPACE = "{http://schemas.microsoft.com/vstudio/debugger/natvis/2010}"
checked = failures = 0


def members(kind):
    for field in kind.fields():
        if field.is_base_class:
            yield from members(field.type)
        elif field.name:
            yield field.name


def check(owner, expression):
    """That gdb can tell the type of the expression in an object of the owner."""
    global checked, failures
    expression = re.sub(r",(en|s8)$", "", expression)
    this = "((%s*)8)" % owner
    known = set(members(gdb.lookup_type(owner)))
    resolved = re.sub(r"(?<![\w.:>])([A-Za-z_]\w*)\b(?!::)",
                      lambda name: this + "->" + name.group() if name.group() in known
                      else this if name.group() == "this" else name.group(), expression)
    # The library that gdb reads has another standard library.
    resolved = re.sub(r"std::(basic_string<char),(.*?),", r"std::__cxx11::\1, \2, ", resolved)
    checked += 1
    try:
        gdb.parse_and_eval("sizeof(%s)" % resolved)
    except gdb.error as error:
        failures += 1
        print("%s: %s: %s" % (owner, expression, error))


def walk(owner, element):
    tag = element.tag.replace(SPACE, "")
    text = (element.text or "").strip()
    if "Condition" in element.attrib:
        check(owner, element.attrib["Condition"])
    # What is in a list of nodes is seen from a node.
    if tag == "LinkedListItems":
        node = gdb.lookup_type(owner)
        node = next(field.type.target().name for field in node.fields() if field.name == "first")
    if tag == "DisplayString" or "Name" in element.attrib:
        braces = text if tag == "DisplayString" else element.attrib["Name"]
        for expression in re.findall(r"\{(.*?)\}", braces):
            check(owner, expression)
    if tag in ("Item", "ExpandedItem", "StringView", "Size", "HeadPointer", "NextPointer",
               "ValueNode"):
        check(owner, text)
    for child in element:
        seen_from_node = child.tag in (SPACE + "NextPointer", SPACE + "ValueNode")
        walk(node if seen_from_node else owner, child)


for element in tree.parse(path).getroot():
    name = element.attrib["Name"]
    try:
        gdb.lookup_type(name)
    except gdb.error as error:
        failures += 1
        print(error)
    else:
        for child in element:
            walk(name, child)

print("%d expressions, %d wrong" % (checked, failures))
gdb.execute("quit %d" % (failures > 0 or checked < 40))
