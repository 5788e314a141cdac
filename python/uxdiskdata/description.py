"""The description file of a disk-data set: a header-only KorinMesh file.

Only the header is read: the first line ("korinmesh 1 ENCODING"), then
statements up to the first ``data`` line or the end of the file. Parameters
of the top level are kept; those inside bundles, locations and sections are
checked for their syntax and otherwise left alone, as the host does.
"""
import os
import re
from dataclasses import dataclass

from .errors import DiskDataError
from .regularfile import open_regular

ENCODINGS = ("text", "binary little-endian", "binary big-endian")
PRIM_TYPES = {0: "u1", 1: "<i2", 2: "<i4", 3: "<f4", 4: "<f8", 7: "<u2"}
PRIM_TYPE_NAMES = {0: "uint8", 1: "int16", 2: "int32", 3: "float", 4: "double", 7: "uint16"}
INT_RE = re.compile(r"[+-]?[0-9]+\Z")
REAL_RE = re.compile(r"[+-]?([0-9]+\.?[0-9]*|\.[0-9]+)([eE][+-]?[0-9]+)?\Z")
NAMED_REALS = re.compile(r"[+-]?(nan|inf|infinity)\Z", re.IGNORECASE)
ESCAPES = {'"': '"', "\\": "\\", "n": "\n", "r": "\r", "t": "\t"}
FIRST_LINE_LIMIT = 256
LINE_LIMIT = 64 << 20
INT32_MAX = 2**31 - 1
MOST_NESTED_BUNDLES = 64  # as the host's reader allows


@dataclass
class Description:
    """What a description file says about its set."""
    path: str
    dims: tuple          # x, y, z samples at full resolution
    blocking: tuple      # x, y, z samples per block
    n_data_var: int
    prim_type: int
    bounding_box: tuple  # xmin, xmax, ymin, ymax, zmin, zmax
    data_file_path: str  # the block file name template as written (the description's own name when absent)


def split_tokens(line):
    """Blank-separated tokens; quoted ones may hold blanks and \\" \\\\ \\n \\r \\t. None when malformed."""
    tokens, at, n = [], 0, len(line)
    while True:
        while at < n and line[at] in " \t\r":
            at += 1
        if at == n:
            return tokens
        token = []
        if line[at] == '"':
            at += 1
            while at < n and line[at] != '"':
                if line[at] == "\\":
                    at += 1
                    if at == n or line[at] not in ESCAPES:
                        return None
                    token.append(ESCAPES[line[at]])
                else:
                    token.append(line[at])
                at += 1
            if at == n or (at + 1 < n and line[at + 1] not in " \t\r"):
                return None
            at += 1
        else:
            while at < n and line[at] not in " \t\r":
                if line[at] == '"':
                    return None
                token.append(line[at])
                at += 1
        tokens.append("".join(token))


def parse_int(token):
    if not INT_RE.match(token):
        raise ValueError(token)
    value = int(token)
    if not -2**31 <= value <= INT32_MAX:
        raise ValueError(token)
    return value


def parse_real(token):
    if REAL_RE.match(token) or NAMED_REALS.match(token):
        return float(token)
    return float.fromhex(token)  # strtod also reads hexadecimal numbers


def read_header(path):
    """The top-level parameters of a KorinMesh header: {name: str or list}."""
    try:
        with open_regular(path, "description") as file:
            return parse_header(file, path)
    except OSError as error:
        raise DiskDataError(path, f"cannot read the description ({error.strerror})") from None


def parse_header(file, path):
    first = split_tokens(read_line(file, FIRST_LINE_LIMIT, path) or "")
    if not first or first[0] != "korinmesh" or len(first) < 3 or first[1] != "1" \
            or " ".join(first[2:]) not in ENCODINGS:
        raise DiskDataError(path, "not a KorinMesh file (the first line must be 'korinmesh 1 ENCODING')")
    parameters, depth, number = {}, 0, 1
    while (line := read_line(file, LINE_LIMIT, path)) is not None:
        number += 1
        stripped = line.strip(" \t\r\n\v\f")
        if not stripped or stripped.startswith("#"):
            continue
        tokens = split_tokens(line)
        if not tokens:
            raise DiskDataError(path, f"line {number}: bad quoting")
        if tokens[0] == "data":
            break
        depth = take_statement(tokens, depth, parameters)
        if depth is None:
            raise DiskDataError(path, f"line {number}: cannot read '{line.strip()}'")
    if depth:
        raise DiskDataError(path, "a bundle is not closed with 'end'")
    return parameters


def read_line(file, limit, path):
    raw = file.readline(limit + 1)
    if not raw:
        return None
    if len(raw) > limit and not raw.endswith(b"\n"):
        raise DiskDataError(path, "not a KorinMesh file (a header line is far too long)")
    return raw.rstrip(b"\n").decode("utf-8", "surrogateescape").removesuffix("\r")


def take_statement(tokens, depth, parameters):
    """Applies one statement; the new bundle depth, or None when it cannot be read."""
    keyword = tokens[0]
    if keyword == "end":
        return depth - 1 if len(tokens) == 1 and depth > 0 else None
    if len(tokens) < 2:
        return None
    if keyword == "bundle":
        return depth + 1 if len(tokens) == 2 and depth < MOST_NESTED_BUNDLES else None
    if keyword in ("location", "section"):
        return depth if depth == 0 else None
    if keyword == "string":
        value = tokens[2] if len(tokens) == 3 else None
    elif keyword in ("ints", "reals"):
        try:
            value = [(parse_int if keyword == "ints" else parse_real)(t) for t in tokens[2:]]
        except (ValueError, OverflowError):  # a hex float beyond range too
            return None
    else:
        return None
    if value is None:
        return None
    if depth == 0:
        parameters[tokens[1]] = value
    return depth


def numbers(parameters, name, count, path, integral):
    """The first `count` values of a number list (ints, or reals holding whole numbers)."""
    values = parameters.get(name)
    if not isinstance(values, list) or len(values) < count:
        raise DiskDataError(path, f"no {name} with {count} value{'s' * (count > 1)}")
    values = values[:count]
    if integral:
        if not all(float(v).is_integer() and -2**31 <= v <= INT32_MAX for v in values):
            raise DiskDataError(path, f"{name} must hold integers")
        values = [int(v) for v in values]
    return values


def read_description(path):
    """Reads and checks a description file; DiskDataError names what is wrong."""
    path = os.fspath(path)
    parameters = read_header(path)
    dims = numbers(parameters, "Dims", 3, path, True)
    blocking = numbers(parameters, "Blocking", 3, path, True)
    (n_data_var,) = numbers(parameters, "nDataVar", 1, path, True)
    (prim_type,) = numbers(parameters, "primType", 1, path, True)
    box = numbers(parameters, "BoundingBox", 6, path, False)
    if any(d < 0 for d in dims):
        raise DiskDataError(path, f"Dims {dims} must lie between 0 and {INT32_MAX}")
    if any(b < 1 for b in blocking):
        raise DiskDataError(path, f"Blocking {blocking} must be 1 or more on every axis")
    if n_data_var < 1:
        raise DiskDataError(path, f"nDataVar {n_data_var} must be 1 or more")
    if prim_type not in PRIM_TYPES:
        raise DiskDataError(path, f"primType {prim_type} is none of 0, 1, 2, 3, 4, 7")
    template = parameters.get("DataFilePath")
    return Description(path, tuple(dims), tuple(blocking), n_data_var, prim_type, tuple(box),
                       template if isinstance(template, str) else path)
