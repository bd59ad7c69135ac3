"""The interface files, docs/dbus/*.xml: D-Bus introspection data with a comment above the interface and each member.

The first line of a comment is the name of what stands below it, and a colon. A line "@NAME: ..." tells of an argument;
above the interface "@short_description" says what it is, in a few words, and "@objects" which paths have it, by
patterns. Paragraphs follow, and lists, whose items begin with "- ". The paragraph of a result begins with "Returns: ".
"""

import inspect
import re
import typing
import xml.etree.ElementTree as ElementTree

EMITS_CHANGED = "org.freedesktop.DBus.Property.EmitsChangedSignal"
MEMBERS = ("property", "signal", "method")


class InterfaceFileError(Exception):
    """What is wrong with a file, in one line."""


class Argument(typing.NamedTuple):
    type: str
    name: str
    text: str


class Member(typing.NamedTuple):
    kind: str  # of MEMBERS
    name: str
    type: str  # a property's, or that of a method's result; empty without one
    is_writable: bool
    arguments: list  # Argument
    text: list  # paragraphs, each a text, or the list of a list's items
    result: str  # what a method returns, in words

    def __str__(self):
        """As the pages show it: "name" and "(type)" of a property, a method as "name(type name, ...) -> type"."""
        if self.kind == "property":
            return f"{self.name} ({self.type}{', writable' if self.is_writable else ''})"
        arguments = ", ".join(f"{each.type} {each.name}" for each in self.arguments)
        return f"{self.name}({arguments})" + (f" -> {self.type}" if self.type else "")


class Interface(typing.NamedTuple):
    name: str
    purpose: str
    objects: list  # patterns of their paths
    emits_changed: str  # whether a change of a property is told, by the annotation's values
    text: list
    members: list

    def of_kind(self, kind):
        return [member for member in self.members if member.kind == kind]


class Comment:
    """What stands above an element, taken apart."""

    def __init__(self, text):
        head, *self.paragraphs = re.split(r"\n\s*\n", inspect.cleandoc(text))
        name, *tags = head.split("\n@")
        self.name = name.removesuffix(":") if name.endswith(":") else None
        self.tags = {}
        for tag in tags:
            key, _, words = tag.partition(":")
            self.tags[key] = joined(words)
        self.result = ""
        if self.paragraphs and self.paragraphs[-1].startswith("Returns: "):
            self.result = joined(self.paragraphs.pop().removeprefix("Returns: "))

    def blocks(self):
        for paragraph in self.paragraphs:
            first, *items = re.split(r"(?:^|\n)- ", paragraph)
            if items and first:
                raise InterfaceFileError(f"{self.name}: a list needs an empty line above it")
            yield [joined(item) for item in items] or joined(first)


def joined(text):
    return " ".join(text.split())


def commented(parent, tags):
    """The children with these tags, each with its comment."""
    comment = None
    for child in parent:
        if child.tag is ElementTree.Comment:
            comment = Comment(child.text)
        elif child.tag in tags:
            name = child.get("name")
            if comment is None or comment.name != name:
                raise InterfaceFileError(f"{name}: has no comment of its own")
            yield child, comment
            comment = None


def member_of(element, comment):
    taken = [each for each in element.iterfind("arg") if each.get("direction") != "out"]
    given = [each for each in element.iterfind("arg") if each.get("direction") == "out"]
    if list(comment.tags) != [each.get("name") for each in taken]:
        raise InterfaceFileError(f"{comment.name}: its comment has other arguments")
    if len(given) > 1 or bool(given) != bool(comment.result):
        raise InterfaceFileError(f"{comment.name}: its comment has another result")
    text = list(comment.blocks())
    if not text:
        raise InterfaceFileError(f"{comment.name}: its comment does not say what it does")
    return Member(
        element.tag,
        comment.name,
        given[0].get("type") if given else element.get("type", ""),
        element.get("access") == "readwrite",
        [Argument(each.get("type"), each.get("name"), comment.tags[each.get("name")]) for each in taken],
        text,
        comment.result,
    )


def interface_of(element, comment):
    if list(comment.tags) != ["short_description", "objects"]:
        raise InterfaceFileError(f"{comment.name}: needs @short_description and @objects")
    annotation = element.find(f"annotation[@name='{EMITS_CHANGED}']")
    interface = Interface(
        comment.name,
        comment.tags["short_description"],
        comment.tags["objects"].split(", "),
        annotation.get("value") if annotation is not None else "true",
        list(comment.blocks()),
        [member_of(*member) for member in commented(element, MEMBERS)],
    )
    if not interface.members:
        raise InterfaceFileError(f"{comment.name}: has no members")
    return interface


def tree(path):
    """A file as it stands, comments included."""
    return ElementTree.parse(
        path, ElementTree.XMLParser(target=ElementTree.TreeBuilder(insert_comments=True))
    ).getroot()


def read(path):
    """The one Interface of a file. Raises InterfaceFileError when something is not told, or told of nothing."""
    try:
        ((element, comment),) = commented(tree(path), ["interface"])
        return interface_of(element, comment)
    except InterfaceFileError as error:
        raise InterfaceFileError(f"{path}: {error}") from None
    except (ElementTree.ParseError, ValueError) as error:
        raise InterfaceFileError(f"{path}: no file of one interface: {error}") from None
