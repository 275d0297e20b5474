#!/usr/bin/env python3
"""The JSON Schema of plu_debug's machine output: json_schema.py FRAME < FORMS

FRAME holds what every object has; FORMS is the client's table of reply forms, as generate_texts lists it. Each
command's rule names every member that its forms can give, and no other."""
import json
import re
import sys

CONVERSION = re.compile(r"%[-0-9l]*([dxXps*!])\{([^}]*)\}")
SPEAKING = ("finding", "unreadable", "refusal")


def reference(name):
    return {"$ref": f"#/$defs/{name}"}


TYPES = {
    "d": {"type": "integer"}, "p": reference("address"), "x": reference("hex"), "X": reference("hex"),
    "number": {"type": "integer"}, "hex": reference("hex"), "address": reference("address"),
    "hw_index": reference("hw_index"), "prefix": reference("prefix"), "numbers": reference("numbers"),
    "low_first": reference("numbers"), "high_first": reference("numbers"),
    "indexes": {"type": "array", "items": reference("hex")},
    "mask_left": reference("lengths"), "mask_low_left": reference("lengths"),
    "mask_v4": reference("lengths"), "mask_v4_word": reference("lengths"),
}


def members_of(form):
    """What a form adds to the object that its fields go to."""
    name, means, text = form["name"], form["means"], form["text"]
    fields = CONVERSION.findall(text)
    members = {"kind": {"type": "string"}} if means in SPEAKING or name.endswith("_node") else {}
    if means in SPEAKING:
        members["text"] = {"type": "string"}
    elif not fields:
        members[name] = {"type": "boolean"}
    for conversion, field in fields:
        field, kind = (re.split(r"[|!#]", field)[0].split(":") + [""])[:2]
        kind = kind or (field if field in ("hw_index", "prefix") else conversion)
        if field in ("-", "+", "base"):
            continue
        members[field] = TYPES.get(kind, {"type": "string"})
        if kind == "key" or field == "prefix":
            members |= {one: {"type": "integer"} for one in (["vrf"] if kind == "key" else ["family", "length"])}
    return members


def add_form(answer, form):
    """Puts the form's members where its path leads."""
    here = answer
    for step in form["member"].lstrip("*").split("."):
        if step:
            name = step.removesuffix("[]")
            inner = {"type": "object", "properties": {}, "additionalProperties": False}
            made = {"type": "array", "items": inner} if step.endswith("[]") else inner
            here = here["properties"].setdefault(name, made)
            here = here.get("items", here)
    for name, kind in members_of(form).items():
        if here["properties"].setdefault(name, kind) != kind:
            sys.exit(f"json_schema: '{name}' of form {form['name']} is of another type elsewhere in {form['member']}")


def rule(command, forms):
    """The members of one command, whose name may be typed in any case."""
    answer = {"properties": {}}
    for form in forms:
        if form["member"] and {command, "*"} & set(form["commands"].split()):
            add_form(answer, form)
    name = "".join(f"[{c.lower()}{c.upper()}]" for c in command)
    return {"if": {"properties": {"command": {"pattern": f"^{name}$"}}}, "then": answer}


def main():
    with open(sys.argv[1], encoding="utf-8") as frame:
        schema = json.load(frame)
    columns = ("name", "commands", "means", "member", "text")
    forms = [dict(zip(columns, line.rstrip("\n").split("\t"))) for line in sys.stdin]
    commands = dict.fromkeys(name for form in forms for name in form["commands"].split() if name != "*")
    schema["$defs"]["command"]["allOf"] += [rule(command, forms) for command in commands]
    json.dump(schema, sys.stdout, indent=1)
    print()


main()
