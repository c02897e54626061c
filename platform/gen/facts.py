"""Loading and classifying the platform ABI facts (platform/facts/*.json).

Everything the generators need to know about a type name lives here, so the
header writer, the layout check and the simulator tables agree on one model.
"""
import json
import os
import re

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
FACTS = os.path.join(ROOT, "facts", "hi3531dv100-abi.json")
INCLUDES = os.path.join(ROOT, "facts", "hi3531dv100-includes.json")

# Libraries whose functions the simulator exports (IVE and PCIV live in
# libraries of their own that the module never links).
SIM_LIBRARIES = ("libmpi.so", "libhdmi.so")

INTEGER_SCALARS = {
    "char": "s", "signed char": "s", "unsigned char": "u", "short": "s",
    "unsigned short": "u", "int": "s", "unsigned int": "u", "long": "s",
    "unsigned long": "u", "long long": "s", "unsigned long long": "u",
}

IDENT = re.compile(r"[A-Za-z_][A-Za-z0-9_.]*")
C_WORDS = {"const", "struct", "union", "enum", "void", "char", "short", "int",
           "long", "signed", "unsigned", "float", "double"}


class Facts:
    def __init__(self, path=FACTS):
        with open(path) as f:
            d = json.load(f)
        self.structs = d["structs"]
        self.enums = d["enums"]
        self.typedefs = d["typedefs"]
        self.defines = d["defines"]
        self.defines_by_header = d["defines_by_header"]
        self.functions = d["functions"]
        # each vendor header's own #include lines, in order
        with open(INCLUDES) as f:
            self.includes = json.load(f)["includes"]

    # -- names -------------------------------------------------------------
    def header_of(self, name):
        for table in (self.structs, self.enums, self.typedefs):
            if name in table:
                return table[name]["header"]
        return None

    def type_deps(self, text):
        """Known type names mentioned in a C type spelling."""
        deps = []
        for word in IDENT.findall(text):
            if word in C_WORDS:
                continue
            if word.startswith("hi") and ("struct " + word) in self.structs:
                word = "struct " + word
            if self.header_of(word) and word not in deps:
                deps.append(word)
        return deps

    # -- classification used by the decoders ----------------------------------
    def resolve(self, name):
        """Follow typedefs: returns ('int', signedness, size) | ('real', size)
        | ('struct', key) | ('ptr',) | ('void',)."""
        name = name.replace("const ", "").strip()
        if name.endswith("*") or "(*)" in name:
            return ("ptr",)
        if name in ("void", "HI_VOID"):
            return ("void",)
        if name in INTEGER_SCALARS:
            return ("int", INTEGER_SCALARS[name], None)
        if name in ("float", "double"):
            return ("real", 4 if name == "float" else 8)
        if name.startswith("union ") or name.startswith("struct "):
            key = name.split(" ", 1)[1]
            return ("struct", key if key in self.structs else name)
        if name in self.structs:
            return ("struct", name)
        if name in self.enums:
            return ("int", "s" if self.enums[name]["underlying"] == "int" else "u", 4)
        t = self.typedefs.get(name)
        if t is None:
            raise KeyError(name)
        if t["kind"] == "pointer":
            return ("ptr",)
        if t["kind"] == "scalar":
            return self.resolve(t["canonical"])
        return self.resolve(t["type"])

    def is_char(self, name):
        return name in ("HI_CHAR", "char")

    def sim_functions(self):
        return {k: v for k, v in sorted(self.functions.items())
                if v["library"] in SIM_LIBRARIES}
