#!/usr/bin/env python3
"""How well the group analysis finds groups that are known, and what comparing levels costs.

  group_quality.py BIN [FOLDER]

BIN is the folder of the programs. FOLDER has networks with known groups: NAME/NAME.edges, a line an undirected edge of
two numbers, and NAME/NAME.clusters, a line a number and its group. Beside them planted networks of vesk-generate are
used, with three seeds each. Where python-igraph is installed the means of ten runs of two methods that maximise the
modularity stand beside.

Each line: the network; the settings; the level that `--levels auto` chose and its modularity; the pair F1 and the
adjusted Rand index of the groups, over the members that are in both and over everybody, those without a group alone;
whether 1, 2 and 3 ranks gave the same files; the F1 of the two methods.
"""

import collections
import hashlib
import os
import random
import re
import subprocess
import sys
import tempfile

try:
    import igraph
except ImportError:
    igraph = None

PARAMETERS = """<AnalysisParams>
<OutputFileName>found</OutputFileName><OutputFormat>CSV</OutputFormat>
<MinClusterSize>2</MinClusterSize><MaxClusterSize>%d</MaxClusterSize>
<NumIterationsConnectingNodes>3</NumIterationsConnectingNodes>
<KernelParams><KernelType>Friends</KernelType><FilterSimilarities>1</FilterSimilarities>
<isSparseData>1</isSparseData><IsSparseKernel>1</IsSparseKernel><SparsityLevel>0.5</SparsityLevel>
<NormalizingFactor>%s</NormalizingFactor><CutoffFrom>AllPairs</CutoffFrom><CutoffAmong>Common</CutoffAmong>
</KernelParams></AnalysisParams>
"""


def run(*words):
    return subprocess.run(words, check=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True).stdout


def pairs(counts):
    return sum(n * (n - 1) // 2 for n in counts)


def judge(found, known):
    """The pair F1, and the adjusted Rand index over the members in both and over everybody."""
    f = pairs(collections.Counter(found.values()).values())
    k = pairs(collections.Counter(known.values()).values())
    both = [(found[node], known[node]) for node in found if node in known]
    b = pairs(collections.Counter(both).values())

    def rand(f, k, n):
        expected = f * k / (n * (n - 1) / 2)
        return (b - expected) / ((f + k) / 2 - expected)

    fb = pairs(collections.Counter(x for x, _ in both).values())
    kb = pairs(collections.Counter(y for _, y in both).values())
    return 2 * b / (f + k), rand(fb, kb, len(both)), rand(f, k, len(set(found) | set(known)))


def read_numbers(path):
    with open(path) as lines:
        rows = (re.split(r"[\s,]+", line.strip()) for line in lines if line.strip() and not line.startswith("#"))
        return [[int(item) for item in row] for row in rows]


def real_network(folder, name):
    """Records of both directions of each edge, and the group of each subscriber. Numbers begin at 1."""
    calls = set()
    for a, b in read_numbers(f"{folder}/{name}/{name}.edges"):
        calls |= {(a + 1, b + 1), (b + 1, a + 1)}
    with open("records", "w") as out:
        for a, b in sorted(calls):
            out.write("%15d %15d %8s %6d %2d\n" % (a, b, "20200101", 60, 1))
    return {a + 1: group for a, group in read_numbers(f"{folder}/{name}/{name}.clusters")}


def planted_network(programs, inside, seed):
    run(f"{programs}/vesk-generate", "-q", "-n", "1000000", "-c", "50000", "--group-count", "3333", "--group-size",
        "12-15", "--inside-share", str(inside), "--seed", str(seed), "--groups", "planted", "-o", "records")
    return {member: row[0] for row in read_numbers("planted") for member in row[1:]}


def make_table(programs, size):
    os.makedirs("in", exist_ok=True)
    os.replace("records", "in/records")
    parameters = run(f"{programs}/vesk-generate", "--params", "table", "--table-size", str(size), "--no-payload")
    with open("table.xml", "w") as out:
        out.write(parameters)
    run(f"{programs}/vesk-loader", "in", "table.xml", "none", "table.bin", "2", "20203001")


def find_groups(programs, most_members, population):
    """The groups of each member, the chosen level, its modularity, and whether the ranks agree."""
    with open("groups.xml", "w") as out:
        out.write(PARAMETERS % (most_members, population))
    hashes = set()
    for ranks in ("1", "2", "3"):
        out = run("mpirun", "-n", ranks, f"{programs}/vesk-analyze", "groups", "groups.xml", "table.bin", "--levels",
                  "auto")
        files = [open(f"found_{end}", "rb").read() for end in ("1.nodes.csv", "1.clusters.csv", "levels.csv")]
        hashes.add(hashlib.sha256(b"".join(files)).hexdigest())
    level, modularity = re.search(r"going on with (\S+), which .* levels, (\S+);", out).groups()
    with open("found_1.nodes.csv") as rows:
        next(rows)
        found = {int(row.split(",")[0]): int(row.split(",")[1]) for row in rows}
    return found, float(level), float(modularity), len(hashes) == 1


def other_methods(known):
    """The mean F1 of ten runs of the two methods over the undirected calls of the records."""
    if igraph is None:
        return []
    weights = collections.Counter()
    with open("in/records") as lines:
        for line in lines:
            a, b = int(line[:15]), int(line[16:31])
            weights[(min(a, b), max(a, b))] += 1
    nodes = sorted({node for edge in weights for node in edge})
    place = {node: i for i, node in enumerate(nodes)}
    graph = igraph.Graph(n=len(nodes), edges=[(place[a], place[b]) for a, b in weights])
    graph.es["weight"] = list(weights.values())
    methods = (lambda: graph.community_multilevel(weights="weight"),
               lambda: graph.community_leiden(objective_function="modularity", weights="weight", n_iterations=-1))
    means = []
    for method in methods:
        scores = []
        for seed in range(10):
            random.seed(seed)
            igraph.set_random_number_generator(random)
            found = {nodes[i]: group for i, group in enumerate(method().membership)}
            scores.append(judge(found, known)[0])
        means.append(sum(scores) / len(scores))
    return means


def show(name, setting, result, known, others):
    found, level, modularity, same = result
    f1, rand_both, rand_all = judge(found, known)
    print(f"{name:20} {setting:28} {level:8g} {modularity:6.3f} {f1:6.3f} {rand_both:6.3f} {rand_all:6.3f} "
          f"{'same' if same else 'DIFFERENT':9} " + " ".join(f"{mean:6.3f}" for mean in others), flush=True)


def main():
    programs = os.path.abspath(sys.argv[1])
    folder = os.path.abspath(sys.argv[2]) if len(sys.argv) > 2 else None
    print(f"{'network':20} {'largest group, population':28} {'level':>8} {'Q':>6} {'F1':>6} {'Rand':>6} {'all':>6} "
          f"{'ranks':9} {'F1 of two others'}")
    with tempfile.TemporaryDirectory() as work:
        os.chdir(work)
        if folder is not None:
            for name in ("karate", "polbooks", "eu-core"):
                known = real_network(folder, name)
                make_table(programs, 1000)
                others = other_methods(known)
                largest = max(collections.Counter(known.values()).values())
                for population in ("Callers", str(4 * len(known))):
                    result = find_groups(programs, largest, population)
                    show(name, f"{largest}, {population}", result, known, others)
        for inside in (0.9, 0.8, 0.7, 0.6, 0.5):
            for seed in (1, 2, 3):
                known = planted_network(programs, inside, seed)
                make_table(programs, 20)
                others = other_methods(known) if seed == 1 else []
                show(f"planted {1 - inside:.1f}, seed {seed}", "15, Callers",
                     find_groups(programs, 15, "Callers"), known, others)


main()
