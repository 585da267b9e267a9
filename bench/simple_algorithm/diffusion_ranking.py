#!/usr/bin/env python3
"""How well the columns of a diffusion rank the members of a group when some of its members are the seeds.

For each network and each of its groups of at least ten members a random tenth of the group are the seeds; the other
members are to be found among all subscribers who are no seeds. The table has the area under the ROC curve of the
energy, of the energy over the weighted in-degree and of the energy over what seeds everywhere would give, as means over
the groups and draws. Random numbers start from --seed, so the same command prints the same table.

  diffusion_ranking.py --bin build/release/bin --labelled DIR ... --planted 0.9 0.7 0.5

A folder of --labelled NAME holds NAME.edges (two ids in a line, each edge once) and NAME.clusters (an id and its group).
--planted gives shares of the calls that stay inside the groups of a network of vesk-generate.
"""

import argparse
import csv
import random
import subprocess
import tempfile
from pathlib import Path

COLUMNS = ("DA_DiffusedEnergy", "EnergyPerWeightedInDegree", "EnergyOverExpected")
SMALLEST_GROUP = 10


def run(*command):
    result = subprocess.run([str(word) for word in command], capture_output=True, text=True)
    if result.returncode != 0:
        raise SystemExit(f"{' '.join(map(str, command))}\n{result.stdout}{result.stderr}")


def labelled_network(folder, work, programs):
    """Pair sums of both directions of each edge; ids are one more than in the files, since they begin at 1."""
    name = folder.name
    edges = [line.split() for line in (folder / f"{name}.edges").read_text().splitlines() if line.strip()]
    with open(work / "calls.csv", "w") as calls:
        for first, second in edges:
            calls.write(f"{int(first) + 1},{int(second) + 1}\n")
            if first != second:
                calls.write(f"{int(second) + 1},{int(first) + 1}\n")
    run(programs / "vesk", "convert", work / "calls.csv", "--no-header", "--caller", 1, "--callee", 2, "-o", work / "calls")
    run(programs / "vesk-loader", "datafile", work / "calls", work / "calls.pairs.xml", "none", work / "pairs.bin", 0)
    groups = {}
    for line in (folder / f"{name}.clusters").read_text().splitlines():
        if line.strip():
            number, group = line.split()
            groups.setdefault(group, []).append(int(number) + 1)
    return groups


def planted_network(inside, work, programs):
    """A directed network of 3000 callers, most of them in 100 groups of 10 to 30, and its groups."""
    options = ["--callers", 3000, "--records", 90000, "--group-count", 100, "--group-size", "10-30", "--inside-share", inside]
    run(programs / "vesk-generate", *options, "--groups", work / "groups", "-o", work / "calls", "-q")
    with open(work / "calls.pairs.xml", "w") as params:
        subprocess.run([str(programs / "vesk-generate"), "--params", "pairsum", "--records", "1", "-o", str(work / "none"), "-q"],
                       stdout=params, check=True)
    run(programs / "vesk-loader", "datafile", work / "calls", work / "calls.pairs.xml", "none", work / "pairs.bin", 0)
    groups = {}
    for line in (work / "groups").read_text().splitlines():
        number, *members = line.split()
        groups[number] = [int(member) for member in members]
    return groups


def scores_of(work):
    with open(work / "energy.csv", newline="") as file:
        return {int(row["Number"]): [float(row[column] or 0) for column in COLUMNS] for row in csv.DictReader(file)}


def area_under_roc(wanted, others):
    """The share of pairs of a wanted and another one in which the wanted one is higher; a tie is half."""
    ranked = sorted([(score, True) for score in wanted] + [(score, False) for score in others])
    area = 0.0
    below = 0
    at = 0
    while at < len(ranked):
        end = at
        while end < len(ranked) and ranked[end][0] == ranked[at][0]:
            end += 1
        hits = sum(1 for _, is_wanted in ranked[at:end] if is_wanted)
        misses = end - at - hits
        area += hits * (below + misses / 2)
        below += misses
        at = end
    return area / (len(wanted) * len(others))


def mean_areas(groups, everybody, work, options, coefficient):
    """Means of the three columns, and the number of diffusions."""
    generator = random.Random(options.seed)
    sums = [0.0] * len(COLUMNS)
    count = 0
    for members in groups:
        for _ in range(options.draws):
            seeds = set(generator.sample(members, max(1, round(len(members) / 10))))
            (work / "seeds").write_text("".join(f"{seed}\n" for seed in sorted(seeds)))
            settings = {"Seed": work / "seeds", "OutputFileName": work / "energy.csv", "SpreadCoefficient": coefficient,
                        "EndConditionValue": options.end, "MaxNumIterations": 1000, "LiftColumns": "Yes"}
            words = [word for key, value in settings.items() for word in ("--set", f"{key}={value}")]
            run(options.bin / "vesk-analyze", "diffusion", "-", work / "pairs.bin", *words)
            scores = scores_of(work)
            wanted = [member for member in members if member not in seeds]
            found = set(members)
            others = [number for number in everybody | set(scores) if number not in found]
            for column in range(len(COLUMNS)):
                of = lambda number: scores[number][column] if number in scores else 0.0
                sums[column] += area_under_roc([of(n) for n in wanted], [of(n) for n in others])
            count += 1
    return [area / count for area in sums], count


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bin", type=Path, required=True, help="folder of the programs")
    parser.add_argument("--labelled", type=Path, nargs="*", default=[], help="folders of labelled networks")
    parser.add_argument("--planted", type=float, nargs="*", default=[], help="shares of calls inside planted groups")
    parser.add_argument("--draws", type=int, default=10, help="seed sets of a group (default 10)")
    parser.add_argument("--groups", type=int, default=40, help="most groups of a network (default 40)")
    parser.add_argument("--coefficients", type=float, nargs="*", default=[0.1, 0.5, 0.9], help="(default 0.1 0.5 0.9)")
    parser.add_argument("--by-group", action="store_true", help="a row for each group instead of a mean")
    parser.add_argument("--end", type=float, default=1e-9, help="EndConditionValue (default 1e-9)")
    parser.add_argument("--seed", type=int, default=1, help="of the random numbers (default 1)")
    options = parser.parse_args()
    networks = [(folder.name, lambda work, folder=folder: labelled_network(folder, work, options.bin))
                for folder in options.labelled]
    networks += [(f"planted, {share:.0%} inside", lambda work, share=share: planted_network(share, work, options.bin))
                 for share in options.planted]
    print("| network | runs | coefficient | energy | per weighted in-degree | over expected |")
    print("| --- | ---: | ---: | ---: | ---: | ---: |")
    for name, make in networks:
        with tempfile.TemporaryDirectory() as folder:
            work = Path(folder)
            groups = make(work)
            chosen = {number: sorted(members) for number, members in sorted(groups.items()) if len(members) >= SMALLEST_GROUP}
            parts = {name: list(chosen.values())[: options.groups]}
            if options.by_group:
                parts = {f"{name}, group {number} of {len(members)}": [members] for number, members in chosen.items()}
            everybody = {member for members in groups.values() for member in members}
            for title, wanted in parts.items():
                for coefficient in options.coefficients:
                    areas, count = mean_areas(wanted, everybody, work, options, coefficient)
                    cells = " | ".join(f"{area:.3f}" for area in areas)
                    print(f"| {title} | {count} | {coefficient:g} | {cells} |", flush=True)


if __name__ == "__main__":
    main()
