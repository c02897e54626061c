"""Writes the vendor-named declaration headers into platform/include/."""
import os
import re

from facts import ROOT

INCLUDE_DIR = os.path.join(ROOT, "include")
BASE_HEADERS = ["hi_type.h", "hi_defines.h", "hi_errno.h", "hi_common.h"]
# What code using these headers includes first, as the vendor's own code does:
# several headers rely on it (hi_comm_rc.h includes only hi_defines.h, the
# audio headers include nothing) and do not compile on their own.
PREFIX = ["hi_type.h", "hi_common.h", "hi_comm_video.h"]
# Vendor headers that the facts name but that declare nothing the module
# uses: written empty so the include lines stay as the vendor has them.
EMPTY = ["hi_osal.h"]

# Function-like macros that code written against these headers expects; the
# facts hold only object-like integer macros.
EXTRA = {
    "hi_errno.h": [
        "#define HI_DEF_ERR(module, level, errid) \\",
        "    ((HI_S32)((HI_ERR_APPID) | ((HI_U32)(module) << 16) | ((HI_U32)(level) << 13) | (HI_U32)(errid)))",
    ],
    "hi_type.h": [
        "#define HI_VOID void",
        "/* The platform stores any 32-bit value in an enumeration field; in C++ the",
        "   enumerations get their storage type as a fixed base so such values are",
        "   well-defined there too. The layout is the same either way. */",
        "#ifdef __cplusplus",
        "#define TESSEL_ENUM_BASE : unsigned int",
        "#else",
        "#define TESSEL_ENUM_BASE",
        "#endif",
    ],
}
GUARDED = {"INT32_MAX", "INT32_MIN", "UINT32_MAX", "UINT32_MIN"}


def define_value(name, value):
    if name.startswith("HI_ERR_") and value < 0:
        return "((HI_S32)0x%08X)" % (value & 0xFFFFFFFF)
    if value < 0:
        return "(%d)" % value
    if value > 0x7FFFFFFF:
        return "0x%Xu" % value
    return str(value)


def dims(array):
    if array is None:
        return ""
    if isinstance(array, int):
        return "[%d]" % array
    return "".join("[%d]" % n for n in array)


def declarator(ctype, name, array):
    if "(*)" in ctype:
        return ctype.replace("(*)", "(*%s%s)" % (name, dims(array)))
    sep = "" if ctype.endswith("*") else " "
    return "%s%s%s%s" % (ctype, sep, name, dims(array))


class HeaderWriter:
    def __init__(self, facts):
        self.f = facts
        self.items = {}     # header -> list of (kind, name)
        for name, s in facts.structs.items():
            if "." not in name:
                self.items.setdefault(s["header"], []).append(("struct", name))
        for name, e in facts.enums.items():
            self.items.setdefault(e["header"], []).append(("enum", name))
        for name, t in facts.typedefs.items():
            if t["kind"] == "enum" and name in facts.enums:
                continue
            self.items.setdefault(t["header"], []).append(("typedef", name))
        for name, fn in facts.functions.items():
            self.items.setdefault(fn["header"], []).append(("function", name))
        for header in facts.defines_by_header:
            self.items.setdefault(header, [])

    # -- dependencies ----------------------------------------------------------
    def deps_of(self, kind, name):
        f = self.f
        if kind == "struct":
            out = []
            for fld in f.structs[name]["fields"]:
                t = fld["type"]
                if t.startswith("union ") and "." in t:
                    continue          # named inline union: its members are listed too
                out += f.type_deps(t)
            return out
        if kind == "typedef":
            t = f.typedefs[name]
            return [] if t["kind"] in ("scalar", "macro") else f.type_deps(t["type"])
        if kind == "function":
            fn = f.functions[name]
            return f.type_deps(" ".join([fn["return"]] + [p["type"] for p in fn["params"]]))
        return []

    def header_deps(self, header):
        """Headers whose declarations this header's declarations use."""
        deps = set()
        for kind, name in self.items[header]:
            for d in self.deps_of(kind, name):
                h = self.f.header_of(d)
                if h != header:
                    deps.add(h)
        return deps

    def own_includes(self, header):
        """The vendor header's own #include lines: (name, is_ours)."""
        return [(h, h in self.items or h in EMPTY)
                for h in self.f.includes.get(header, [])]

    def closure(self, headers):
        seen, todo = set(), list(headers)
        while todo:
            h = todo.pop()
            if h in seen:
                continue
            seen.add(h)
            todo += [d for d, ours in self.own_includes(h) if ours]
        return seen

    def check_includes(self, headers):
        """Every type a header uses must come from its own includes or from
        the headers its users include first; anything else is a fact out of
        step with the declarations."""
        prefix = self.closure(PREFIX)
        self.repeated = {}
        for header in headers:
            reach = self.closure([header]) | prefix
            missing = sorted(self.header_deps(header) - reach)
            # A scalar typedef from an unrelated header (HI_DOUBLE lives with
            # IVE, yet the encoder's stream info uses it) is repeated where it
            # is used, an identical typedef being legal in C11 and C++.
            for kind, name in self.items[header]:
                for d in self.deps_of(kind, name):
                    if self.f.header_of(d) in missing and \
                            self.f.typedefs.get(d, {}).get("kind") == "scalar":
                        self.repeated.setdefault(header, set()).add(d)
            missing = [h for h in missing
                       if any(self.f.header_of(d) == h and d not in self.repeated.get(header, ())
                              for k, n in self.items[header] for d in self.deps_of(k, n))]
            if missing:
                raise SystemExit("%s uses declarations of %s, which neither its includes "
                                 "nor %s bring in" % (header, ", ".join(missing), ", ".join(PREFIX)))

    def ordered(self, header):
        """Declarations of one header, each after the types it uses."""
        rank = {"enum": 0, "typedef": 1, "struct": 1, "function": 2}
        pending = sorted(self.items[header], key=lambda it: (rank[it[0]], it[1]))
        done, out = set(), []
        while pending:
            progress = False
            for it in list(pending):
                local = [d for d in self.deps_of(*it)
                         if self.f.header_of(d) == header and d != it[1]]
                if all(d in done for d in local):
                    out.append(it)
                    done.add(it[1])
                    pending.remove(it)
                    progress = True
            if not progress:
                raise SystemExit("cyclic declarations in %s: %s" % (header, pending))
        return out

    # -- text --------------------------------------------------------------------
    def enum_text(self, name):
        e = self.f.enums[name]
        body = ",\n".join("    %s = %d" % kv for kv in e["values"].items())
        return "typedef enum %sTESSEL_ENUM_BASE {\n%s\n} %s;\n" % ((e["tag"] + " ") if e.get("tag") else "", body, name)

    def typedef_text(self, name):
        t = self.f.typedefs[name]
        if t["kind"] == "macro":
            return ""
        ctype = t["canonical"] if t["kind"] == "scalar" else t["type"]
        return "typedef %s;\n" % declarator(ctype, name, None)

    def fields_text(self, fields, owner, indent="    "):
        lines, i = [], 0
        while i < len(fields):
            fld = fields[i]
            if "." in fld["name"]:
                i += 1
                continue
            group = fld["in_union"]
            if group and group.startswith("anonymous"):
                members = []
                while i < len(fields) and fields[i]["in_union"] == group:
                    members.append(dict(fields[i], in_union=None))
                    i += 1
                lines.append(indent + "union {")
                lines += self.fields_text(members, owner, indent + "    ")
                lines.append(indent + "};")
                continue
            t = fld["type"]
            if t.startswith("union ") and "." in t:
                inner = self.f.structs[t.split(" ", 1)[1]]["fields"]
                lines.append(indent + "union {")
                lines += self.fields_text(inner, owner, indent + "    ")
                lines.append("%s} %s%s;" % (indent, fld["name"], dims(fld["array"])))
            else:
                lines.append("%s%s;" % (indent, declarator(t, fld["name"], fld["array"])))
            i += 1
        return lines

    def struct_text(self, name):
        s = self.f.structs[name]
        body = "\n".join(self.fields_text(s["fields"], name))
        if name.startswith("struct "):
            return "%s {\n%s\n};\n" % (name, body)
        tag = (s["tag"] + " ") if s.get("tag") else ""
        return "typedef %s %s{\n%s\n} %s;\n" % (s["kind"], tag, body, name)

    def function_text(self, name):
        fn = self.f.functions[name]
        params = ", ".join(declarator(p["type"], p["name"] or "arg%d" % i, None)
                           for i, p in enumerate(fn["params"])) or "HI_VOID"
        return "%s %s(%s);\n" % (fn["return"], name, params)

    def header_text(self, header):
        guard = "TESSEL_" + re.sub(r"\W", "_", header).upper()
        out = ["/* Generated by platform/gen/generate.py from platform/facts; do not edit. */",
               "#ifndef " + guard, "#define " + guard, ""]
        for dep, ours in self.own_includes(header):
            out.append('#include "%s"' % dep if ours else "#include <%s>" % dep)
        out += ["", "#ifdef __cplusplus", 'extern "C" {', "#endif", ""]
        for name in sorted(self.f.defines_by_header.get(header, [])):
            text = "#define %s %s" % (name, define_value(name, self.f.defines[name]))
            out += ["#ifndef " + name, text, "#endif"] if name in GUARDED else [text]
        out += EXTRA.get(header, [])
        out.append("")
        for name in sorted(getattr(self, "repeated", {}).get(header, ())):
            out.append(self.typedef_text(name))
        for kind, name in self.ordered(header):
            out.append(getattr(self, kind + "_text")(name))
        out += ["#ifdef __cplusplus", "}", "#endif", "", "#endif", ""]
        return "\n".join(out)

    def write(self):
        headers = sorted(set(self.items) | set(BASE_HEADERS) | set(EMPTY))
        for header in headers:
            self.items.setdefault(header, [])
        self.check_includes(headers)
        for header in headers:
            with open(os.path.join(INCLUDE_DIR, header), "w") as f:
                f.write(self.header_text(header))
        return headers
