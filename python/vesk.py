"""Datasets and results of the vesk programs as numpy arrays.

One file that needs numpy alone. Every function that reads takes a path, and raises VeskError, a ValueError of one line
with the file and what is wrong with it. The forms of the files are described in docs/formats.md.

    import vesk
    pairs = vesk.read_dataset("pairs.bin")
    pairs["callers"], pairs["offsets"], pairs["callees"], pairs["weights"]
    energy = vesk.read_energy("energy.csv")
    energy["Number"], energy["DA_DiffusedEnergy"]
"""

import csv
import hashlib
import io
import json
import os
import re
import stat

import numpy as np

__all__ = [
    "VeskError",
    "columns",
    "read_card",
    "read_dataset",
    "read_energy",
    "read_groups",
    "read_ledger",
    "read_results",
]

MISSING = -99999.0
PAIR_SUM_MARK = 7788.0
MOST_PARTS = 100  # of a loader run
KEY_LIMIT = 2.0**53
CARD_FORMAT = "vesk dataset card 1"
CARD_KINDS = ("table-sorted", "table-unsorted", "pair-sum", "sums", "dense", "payload")


class VeskError(ValueError):
    """A file that cannot be used. The text is one line with the name of the file."""


def read_dataset(path, verify=False):
    """Reads a dataset: one file, or the parts PATH.0, PATH.1, ... in their order.

    If there is a card beside the dataset, the files must agree with it; with `verify` their SHA-256, too.

    Returns a dictionary. A sparse dataset has one row per caller; row i has the entries offsets[i] to
    offsets[i + 1] - 1:
        "kind"       "table", "pair-sum", "sums" or "payload"
        "callers"    shape (rows,)
        "offsets"    shape (rows + 1,), int64
        "callees"    shape (entries,), of tables and pair sums
        "weights"    shape (entries,), of pair sums
        "positions"  shape (entries,), int64 from 1, of sums and payloads
        "values"     shape (entries,), of sums and payloads; a missing value is NaN
    Callers and callees are int64 if all of them are whole numbers below 2^53, otherwise float64.

    Any other dataset:
        "kind"       "dense"
        "names", "types", "purposes"   lists of texts, one per column
        "records"    shape (records, columns), float64; a missing value is NaN
        "labels"     dictionary: name of a column -> dictionary of code (int) -> text
    """
    path = os.fspath(path)
    card = _check_card(path, verify)
    payload = _payload_of(path)
    parts = _parts_of(path, payload)
    base = payload[0] if payload else path
    infos = [base + ".info"] + [part + ".info" for part in parts]
    infos = [info for info in dict.fromkeys(infos) if os.path.exists(info)]
    if payload and not infos and os.path.exists(base + ".0.info"):
        infos = [base + ".0.info"]
    if not infos:
        raise VeskError(f"{base}: there is no description {base}.info")
    names, types, purposes = description = _read_info(infos[0])
    for info in infos[1:]:
        if _read_info(info) != description:
            raise VeskError(f"{info}: the columns are not those of {infos[0]}")
    is_sparse = len(names) == 3 and purposes[0] == "LineNumber"
    if card and card["kind"] != "payload" and (card["kind"] == "dense") == is_sparse:
        raise VeskError(f"{path}: the description does not fit the card, which says {card['kind']}")
    if is_sparse:
        return _read_sparse(path, parts, card, bool(payload))
    records = np.concatenate([_read_doubles(part, len(names)) for part in parts])
    records[records == MISSING] = np.nan
    return {
        "kind": "dense",
        "names": names,
        "types": types,
        "purposes": purposes,
        "records": records,
        "labels": _read_labels(path + ".labels"),
    }


def columns(dataset):
    """The columns of a dataset as a dictionary of arrays of one length, as `vesk export` writes them.

    A sparse dataset has one element per entry: "caller", and "callee", "weight" or "position", "value". Other datasets
    have one element per record; a column with labels is an array of texts, in which None is a missing value.
    """
    if dataset["kind"] != "dense":
        counts = np.diff(dataset["offsets"])
        table = {"caller": np.repeat(dataset["callers"], counts)}
        for name in ("callees", "weights", "positions", "values"):
            if name in dataset:
                table[name[:-1]] = dataset[name]
        return table
    table = {}
    for number, name in enumerate(dataset["names"]):
        values = dataset["records"][:, number]
        labels = dataset["labels"].get(name)
        if labels is None:
            table[name] = values.copy()
            continue
        texts = [None if np.isnan(v) else labels.get(v, _number_text(v)) for v in values.tolist()]
        table[name] = np.array(texts, dtype=object)
    return table


def read_card(path):
    """The card beside a dataset as a dictionary; None if there is no card."""
    card_path = _card_path(os.fspath(path))
    try:
        status = os.lstat(card_path)
    except FileNotFoundError:
        return None
    except OSError as error:
        raise VeskError(f"{card_path}: {error.strerror}") from None
    if not stat.S_ISREG(status.st_mode):
        raise VeskError(f"{card_path}: not a regular file")
    try:
        card = json.loads(_read_bytes(card_path).decode("utf-8"))
    except (ValueError, RecursionError):
        raise VeskError(f"{card_path}: the card is no JSON text") from None
    mistake = _card_mistake(card)
    if mistake:
        raise VeskError(f"{card_path}: the card cannot be used: {mistake}")
    return card


def read_results(path):
    """Any result in CSV, TSV by its name, as a dictionary: name of a column -> array.

    A column is int64 if all of its cells are whole numbers, float64 if all are numbers or empty (NaN), otherwise an
    array of texts.
    """
    path = os.fspath(path)
    text = _read_bytes(path).decode("utf-8-sig", errors="surrogateescape")
    delimiter = "\t" if path.endswith(".tsv") else ","
    rows = csv.reader(io.StringIO(text, newline=""), delimiter=delimiter, strict=True)
    try:
        names = next(rows, None)
        if not names:
            raise VeskError(f"{path}: there is no line of names")
        if len(set(names)) != len(names):
            raise VeskError(f"{path}: two columns have one name")
        cells = []
        for row in rows:
            if len(row) != len(names):
                raise VeskError(f"{path}, line {rows.line_num}: {len(row)} cells, the first line has {len(names)}")
            cells.append(row)
    except csv.Error as error:
        raise VeskError(f"{path}, line {rows.line_num}: {error}") from None
    return {name: _array_of([row[i] for row in cells]) for i, name in enumerate(names)}


def read_energy(path):
    """The result of `vesk-analyze diffusion`: "Number", "DA_DiffusedEnergy", "InDegree" and so on -> array."""
    return _with_columns(path, ("Number", "DA_DiffusedEnergy"))


def read_groups(path):
    """The results of `vesk-analyze groups`; `path` is OutputFileName of the parameter file.

    Returns {"clusters": ..., "nodes": ...}, each a dictionary of arrays: one element per group ("GroupNumber", "Size",
    ...), and one per member ("NodeNumber", "GroupNumber", ...).
    """
    path = os.fspath(path)
    return {
        "clusters": _with_columns(path + "_1.clusters.csv", ("GroupNumber", "Size")),
        "nodes": _with_columns(path + "_1.nodes.csv", ("NodeNumber", "GroupNumber")),
    }


def read_ledger(path):
    """The ledger of `vesk day` as a list of dictionaries, one per run. `path` is the state folder or the ledger."""
    path = os.fspath(path)
    if os.path.isdir(path):
        path = os.path.join(path, "ledger.jsonl")
    lines = _read_bytes(path).split(b"\n")
    runs = []
    for number, line in enumerate(lines, 1):
        if not line and number == len(lines):
            continue
        try:
            run = json.loads(line.decode("utf-8"))
        except (ValueError, RecursionError):
            raise VeskError(f"{path}, line {number}: no JSON text") from None
        if not isinstance(run, dict):
            raise VeskError(f"{path}, line {number}: no JSON object")
        runs.append(run)
    return runs


# Files of a dataset.


def _payload_of(path):
    """The dataset of a payload file and its ending, such as ("t.bin", "_payload_1"); None for another name."""
    found = re.fullmatch(r"(.*[^/])(_payload_[0-9]+)", path, re.DOTALL)
    if not found or os.path.exists(path + ".info"):
        return None
    return found.group(1), found.group(2)


def _parts_of(path, payload):
    """The binary files: PATH, or its parts from 0 on."""
    start, ending = payload or (path, "")
    names = [f"{start}.{number}{ending}" for number in range(MOST_PARTS)]
    present = [os.path.exists(name) and not os.path.isdir(name) for name in names]
    if os.path.exists(path) and not os.path.isdir(path):
        if any(present):
            raise VeskError(f"{names[present.index(True)]}: a part is beside the single file {path}")
        return [path]
    if not any(present):
        raise VeskError(f"{path}: there is no such dataset")
    count = MOST_PARTS - present[::-1].index(True)
    if not all(present[:count]):
        raise VeskError(f"{names[present.index(False)]}: a part of the dataset is missing")
    return names[:count]


def _read_bytes(path):
    try:
        with open(path, "rb") as file:
            return file.read()
    except OSError as error:
        raise VeskError(f"{path}: {error.strerror}") from None


def _read_doubles(path, width):
    """The records of a file, shape (records, width)."""
    try:
        size = os.path.getsize(path)
        if size % (8 * width) != 0:
            raise VeskError(f"{path}: {size} bytes are no whole number of records of {8 * width} bytes")
        return np.fromfile(path, dtype="<f8").astype(np.float64, copy=False).reshape(-1, width)
    except OSError as error:
        raise VeskError(f"{path}: {error.strerror}") from None


def _read_info(path):
    text = _read_bytes(path).decode("utf-8", errors="surrogateescape")
    words = [line.split() for line in text.split("\n") if line.split()]
    for line in words:
        if (
            len(line) != 3
            or line[1] not in ("Numeric", "Categorical")
            or line[2] not in ("Explanatory", "Target", "LineNumber")
        ):
            raise VeskError(f"{path}: [{_printable(' '.join(line))}] is no name, type and purpose")
    if not words:
        raise VeskError(f"{path}: there are no columns")
    return tuple(list(column) for column in zip(*words))


def _read_labels(path):
    if not os.path.exists(path):
        return {}
    text = _read_bytes(path).decode("utf-8-sig", errors="surrogateescape")
    labels = {}
    rows = csv.reader(io.StringIO(text, newline=""), strict=True)
    try:
        if next(rows, None) != ["column", "code", "label"]:
            raise VeskError(f"{path}: the first line is not column,code,label")
        for row in rows:
            if len(row) != 3 or not re.fullmatch("[0-9]{1,15}", row[1]):
                raise VeskError(f"{path}, line {rows.line_num}: no column, code and label")
            labels.setdefault(row[0], {})[int(row[1])] = row[2]
    except csv.Error as error:
        raise VeskError(f"{path}, line {rows.line_num}: {error}") from None
    return labels


# Rows of a sparse dataset.


def _read_sparse(path, parts, card, is_payload):
    rows = [_Rows(part) for part in parts]
    kind = _kind_of(rows, card, is_payload)
    is_pair_sum = kind == "pair-sum"
    for part in rows:
        part.check(is_pair_sum)
    callers = np.concatenate([part.callers for part in rows])
    counts = np.concatenate([part.counts for part in rows])
    entries = np.concatenate([part.entries for part in rows])
    dataset = {
        "kind": kind,
        "callers": _whole(callers),
        "offsets": np.concatenate([np.zeros(1, np.int64), np.cumsum(counts, dtype=np.int64)]),
    }
    values = entries[:, 2].copy()
    values[values == MISSING] = np.nan
    if kind == "table":
        dataset["callees"] = _whole(values)
    elif is_pair_sum:
        dataset["callees"] = _whole(entries[:, 1])
        dataset["weights"] = values
    else:
        dataset["positions"] = entries[:, 1].astype(np.int64)
        dataset["values"] = values
    return dataset


class _Rows:
    """The rows of one file: a row ends where the key changes, its last triple is its footer."""

    def __init__(self, path):
        self.path = path
        self.triples = triples = _read_doubles(path, 3)
        keys = triples[:, 0]
        changes = np.flatnonzero(keys[1:] != keys[:-1]) + 1
        self.first = np.concatenate([np.zeros(min(len(keys), 1), np.int64), changes])
        self.last = np.concatenate([changes - 1, np.full(min(len(keys), 1), len(keys) - 1)])
        self.callers = keys[self.first]
        self.counts = np.maximum(self.last - self.first - 1, 0)
        is_entry = np.ones(len(keys), bool)
        is_entry[self.first] = False
        is_entry[self.last] = False
        self.is_entry = is_entry
        self.entries = triples[is_entry]

    def _fail(self, wrong, indices, what):
        if wrong.any():
            index = int(indices[np.flatnonzero(wrong)[0]])
            key = _number_text(float(self.triples[index, 0]))
            raise VeskError(f"{self.path}, triple {index + 1}, caller {key}: {what}")

    def is_pair_sum(self):
        _, position, value = self.triples[self.last[0]]
        return position == 0 and value == PAIR_SUM_MARK

    def widths_of_entries(self):
        return np.repeat(self.triples[self.first, 2], self.counts)

    def check(self, is_pair_sum):
        if len(self.callers) == 0:
            return
        header = self.triples[self.first]
        footer = self.triples[self.last]
        width = header[:, 2]
        self._fail(header[:, 1] != 0, self.first, "the row has no header")
        is_whole = (width >= 0) & (width < KEY_LIMIT) & (width == np.floor(width))
        self._fail(~is_whole, self.first, "the width is no whole number")
        expected = (0.0, PAIR_SUM_MARK) if is_pair_sum else (width + 1, 0.0)
        is_footer = (footer[:, 1] == expected[0]) & (footer[:, 2] == expected[1]) & (self.last > self.first)
        self._fail(~is_footer, self.last, "the row has no footer")
        if is_pair_sum:
            return
        positions = self.entries[:, 1]
        before = self.triples[np.flatnonzero(self.is_entry) - 1, 1]  # the header has the position 0
        fits = (positions > before) & (positions <= self.widths_of_entries()) & (positions == np.floor(positions))
        what = "the position does not fit; positions ascend from 1 to the width"
        self._fail(~fits, np.flatnonzero(self.is_entry), what)


def _kind_of(rows, card, is_payload):
    if card:
        return "table" if card["kind"].startswith("table") else card["kind"]
    if is_payload:
        return "payload"
    for part in rows:
        if len(part.callers) == 0:
            continue
        if part.is_pair_sum():
            return "pair-sum"
        part.check(False)
        # The width of sums counts output 1 of the loader, which is never written; the longest row of a table has it.
        return "table" if (part.entries[:, 1] == part.widths_of_entries()).any() else "sums"
    return "sums"


def _whole(numbers):
    """The numbers as int64 if they are whole and below 2^53."""
    with np.errstate(invalid="ignore"):
        is_whole = (np.abs(numbers) < KEY_LIMIT) & (numbers == np.floor(numbers))
    return numbers.astype(np.int64) if is_whole.all() else numbers.copy()


def _number_text(number):
    """The text of a number as `vesk export` writes it: a whole number below 2^53 is digits alone."""
    return str(int(number)) if abs(number) < KEY_LIMIT and number == int(number) else repr(number)


# The card.


def _card_path(path):
    folder, name = os.path.split(path)
    payload = ""
    found = re.fullmatch(r"(.+)_(payload_[0-9]+)", name, re.DOTALL)
    if found:
        name, payload = found.group(1), "." + found.group(2)
    found = re.fullmatch(r"(.+)\.[0-9]+", name, re.DOTALL)
    if found:
        name = found.group(1)
    if name.endswith(".bin") and name != ".bin":
        name = name[: -len(".bin")]
    return os.path.join(folder, name + payload + ".card.json")


def _printable(text):
    return re.sub(r"[\x00-\x1f\x7f]", "?", text[:200])


def _card_mistake(card):
    """What is wrong with a card; empty for nothing."""
    texts, counts, lists = ("format", "kind", "run", "version"), ("records", "callers"), ("parts", "companions")
    if not isinstance(card, dict):
        return "the text is no JSON object"
    if card.get("format") != CARD_FORMAT:
        return "the format is not that of this version"
    for member in card:
        if member not in texts + counts + lists + ("settings",):
            return f"the member [{_printable(member)}] is not known"
    for member in texts:
        if not isinstance(card.get(member), str):
            return f"the member {member} is no text"
    for member in counts:
        if not _is_count(card.get(member)):
            return f"the member {member} is no count"
    settings = card.get("settings")
    if not isinstance(settings, dict) or not all(isinstance(value, str) for value in settings.values()):
        return "the settings are no texts"
    if card["kind"] not in CARD_KINDS:
        return f"[{_printable(card['kind'])}] is no kind of a dataset"
    names = set()
    for member in lists:
        files = card.get(member)
        if not isinstance(files, list):
            return f"the member {member} is no list"
        for file in files:
            mistake = _file_mistake(file, names)
            if mistake:
                return mistake
    return "" if card["parts"] else "there are no parts"


def _is_count(value):
    return isinstance(value, int) and not isinstance(value, bool) and 0 <= value < 2**64


def _file_mistake(file, names):
    if not isinstance(file, dict) or set(file) != {"name", "bytes", "sha256"} or not isinstance(file["name"], str):
        return "a file has not the members name, bytes and sha256"
    name = file["name"]
    if name in ("", ".", "..") or "/" in name or "\0" in name:
        return f"[{_printable(name)}] is no name of a file in the card's folder"
    if name in names:
        return f"{_printable(name)} is listed twice"
    names.add(name)
    if not _is_count(file["bytes"]):
        return f"the size of {_printable(name)} is no count"
    if not isinstance(file["sha256"], str) or not re.fullmatch("[0-9a-f]{64}", file["sha256"]):
        return f"the hash of {_printable(name)} is none"
    return ""


def _check_card(path, verify):
    """Compares the files of a dataset with its card. The result is the card; None without one."""
    card = read_card(path)
    if card is None:
        return None
    folder, name = os.path.split(path)
    start, ending = name, ""
    found = re.fullmatch(r"(.+)(_payload_[0-9]+)", name, re.DOTALL)
    if card["kind"] == "payload" and found:
        start, ending = found.groups()
    part_names = [f"{start}.{number}{ending}" for number in range(MOST_PARTS)]
    listed = [file["name"] for file in card["parts"]]
    if listed != [name] and listed != part_names[: len(listed)]:
        if name in listed:
            raise VeskError(f"{path}: the file is one of the {len(listed)} parts of a dataset; name the dataset")
        raise VeskError(f"{path}: its card is that of other files, the first is {_printable(listed[0])}")
    for file in card["parts"] + card["companions"]:
        listed.append(file["name"])
        mistake = _mismatch(os.path.join(folder, file["name"]), file, verify)
        if mistake:
            raise VeskError(f"{_printable(os.path.join(folder, file['name']))}: {mistake}")
    possible = [name] + part_names
    for other in sorted(set(possible + [data + ".info" for data in possible]) - set(listed)):
        if os.path.lexists(os.path.join(folder, other)):
            raise VeskError(f"{os.path.join(folder, other)}: the file is not listed in the dataset's card")
    return card


def _mismatch(path, file, verify):
    try:
        status = os.lstat(path)
        if stat.S_ISLNK(status.st_mode):
            return "a symbolic link; it is not followed"
        if not stat.S_ISREG(status.st_mode):
            return "not a regular file"
        if status.st_size != file["bytes"]:
            return f"the file has {status.st_size} bytes and its card says {file['bytes']}"
        if not verify:
            return ""
        digest = hashlib.sha256()
        with open(path, "rb") as stream:
            for block in iter(lambda: stream.read(1 << 20), b""):
                digest.update(block)
        return "" if digest.hexdigest() == file["sha256"] else "the SHA-256 of the file is not that of its card"
    except FileNotFoundError:
        return "the file is missing, and the dataset's card lists it"
    except OSError as error:
        return error.strerror


# Results.

_WHOLE = re.compile(r"-?(0|[1-9][0-9]*)")
_NUMBER = re.compile(r"(-?(0|[1-9][0-9]*)?(\.[0-9]+)?([eE][-+]?[0-9]+)?|-?nan|-?inf)")


def _array_of(cells):
    """The cells of a column as numbers if all of them are, otherwise as texts."""
    if cells and all(_WHOLE.fullmatch(cell) for cell in cells):
        try:
            return np.array([int(cell) for cell in cells], dtype=np.int64)
        except OverflowError:
            return np.array(cells, dtype=object)
    if all(_NUMBER.fullmatch(cell) for cell in cells):
        try:
            return np.array([float(cell) if cell else np.nan for cell in cells], dtype=np.float64)
        except ValueError:
            pass  # such as "-" or "e5"
    return np.array(cells, dtype=object)


def _with_columns(path, names):
    results = read_results(path)
    for name in names:
        if name not in results:
            raise VeskError(f"{os.fspath(path)}: there is no column {name}; another result?")
    return results
