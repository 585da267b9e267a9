#!/usr/bin/env bash
# Installs what is missing, builds, makes a synthetic month of calls and runs the main jobs over it.
# The results stay in build/demo.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset release
cmake --build --preset release --target vesk vesk-loader vesk-generate vesk-inspect vesk-analyze

bin=$PWD/build/release/bin
rm -rf build/demo
mkdir -p build/demo/day1 build/demo/day2
cd build/demo

step() { printf '\n== %s\n' "$1"; }
run() {
  echo "+ $*"
  "$@"
}
# The loader's report goes to a log; what the demo needs of it is shown.
load() {
  local log=$1
  shift
  echo "+ vesk-loader $* > $log"
  "$bin/vesk-loader" "$@" > "$log"
}

step "from a CSV file to a state: convert, check, a day that is loaded once"
mkdir door
run "$bin/vesk-generate" -q -n 200000 -c 5000 --group-count 300 --csv -o door/calls.csv
run "$bin/vesk" convert door/calls.csv -o door/calls --ids door/ids.map --rejects door/bad_rows.csv \
  --caller caller --callee callee --time start --duration duration --count calls
run "$bin/vesk" check door/calls.pairs.xml door/calls > door/check.log
run "$bin/vesk" day door/calls.pairs.xml door/calls door/pairs --date 2020-01-30 --new
echo "the same day again:"
status=0
run "$bin/vesk" day door/calls.pairs.xml door/calls door/pairs --date 2020-01-30 || status=$?
[ "$status" -eq 2 ]
run "$bin/vesk" day --list door/pairs
awk -F, 'NR == 2 { print $2 }' door/calls.csv > door/seeds.txt
run "$bin/vesk" ids door/ids.map --to-numbers door/seeds.txt --no-header --column 1 -o door/seeds.numbers
echo "+ vesk-analyze diffusion - door/pairs/current/dataset.bin ... > door/diffusion.log"
"$bin/vesk-analyze" diffusion - door/pairs/current/dataset.bin --strict --set Seed=door/seeds.numbers \
  --set OutputFileName=door/energy.csv > door/diffusion.log
run "$bin/vesk" top door/energy.csv --seeds door/seeds.txt --dataset door/pairs/current/dataset.bin --ids door/ids.map -n 5

step "a month of calls up to 30 January, and the calls of 5 February"
run "$bin/vesk-generate" -n 1000000 -c 50000 --group-count 1000 --groups groups.txt --bad all=0.001 -o day1/calls
run "$bin/vesk-generate" -n 50000 -c 50000 --group-count 1000 --start-date 2020-02-05 --days 1 --seed 2 -o day2/calls
for params in table pairsum; do "$bin/vesk-generate" --params "$params" > "$params.xml"; done
"$bin/vesk-generate" --params sums --partitions 3 > sums.xml

step "day one: the latest 20 calls of each caller, kept in the process file table.process"
load day1.log day1 table.xml table.process day1.bin 2 20203001
grep -E '^Process file does not|^Everything before|omitted' day1.log
run "$bin/vesk-inspect" process table.process --dates --payloads 1 --rows 3

step "day two: the tables go on; what is older than 30 days drops out"
load day2.log day2 table.xml table.process day2.bin 2 20200502
grep -E '^Everything before|lines scanned' day2.log
run "$bin/vesk-inspect" process table.process --dates --payloads 1 --rows 3
run "$bin/vesk-inspect" dataset day2.bin --rows 4

step "the weight of each pair of caller and callee"
load pairsum.log day1 pairsum.xml none pairsum.bin 0
run "$bin/vesk-inspect" dataset pairsum.bin --rows 4

step "sums of each caller, in 3 partitions"
load sums.log day1 sums.xml none sums.bin 0
for partition in 0 1 2; do run "$bin/vesk-inspect" dataset "sums.bin.$partition" --rows 4; done

step "energy that spreads from a few members of the first three groups, over the pairs in two partitions"
"$bin/vesk-generate" --params pairsum --partitions 2 > parts.xml
load parts.log day1 parts.xml none parts.bin 0
head -n 3 groups.txt | cut -d' ' -f2-4 | tr ' ' '\n' > seeds.txt
for workers in 1 2; do
  cat > "diffusion.$workers.xml" << END
<AnalysisParams>
  <Seed> seeds.txt </Seed>
  <OutputFileName>energy.$workers.csv</OutputFileName>
  <EndConditionValue>0.001</EndConditionValue>
</AnalysisParams>
END
  echo "+ mpirun -n $workers vesk-analyze diffusion diffusion.$workers.xml parts.bin --strict > diffusion.$workers.log"
  mpirun -n "$workers" "$bin/vesk-analyze" diffusion "diffusion.$workers.xml" parts.bin --strict > "diffusion.$workers.log"
done
cmp energy.1.csv energy.2.csv && echo "one and two workers give the same result"
echo "the ten subscribers with most energy that are no seeds, and the groups they were planted in:"
awk 'FNR == NR { for (i = 2; i <= NF; ++i) group[$i] = $1; next }
     FILENAME == "seeds.txt" { seed[$1] = 1; next }
     FNR > 1 { split($0, f, ","); if (!(f[1] in seed)) print f[2], f[1], (f[1] in group) ? group[f[1]] : "-" }' \
  groups.txt seeds.txt energy.1.csv | sort -g -r | sed -n 1,10p |
  awk '{ printf "  subscriber %-8s energy %-12s group %s\n", $2, $1, $3 }'

step "groups of subscribers who call each other: a month of calls with groups of 12 to 15, in its table"
mkdir month
run "$bin/vesk-generate" -n 1000000 -c 50000 --group-count 3333 --group-size 12-15 --groups planted.txt \
  --outcomes outcomes.csv -o month/calls
load month.log month table.xml none month.bin 2 20203001
for workers in 1 2; do
  cat > "groups.$workers.xml" << END
<AnalysisParams>
  <OutputFileName>found.$workers</OutputFileName>
  <OutputFormat>CSV</OutputFormat>
  <MinClusterSize>3</MinClusterSize>
  <MaxClusterSize>15</MaxClusterSize>
  <KernelParams>
    <KernelType>Friends</KernelType>
    <FilterSimilarities>1</FilterSimilarities>
    <isSparseData>1</isSparseData>
    <IsSparseKernel>1</IsSparseKernel>
    <SparsityLevel>0.5</SparsityLevel>
    <NormalizingFactor>50000</NormalizingFactor>
  </KernelParams>
</AnalysisParams>
END
  echo "+ mpirun -n $workers vesk-analyze groups groups.$workers.xml month.bin --strict ... > groups.$workers.log"
  mpirun -n "$workers" "$bin/vesk-analyze" groups "groups.$workers.xml" month.bin --strict --results-json "groups.$workers.json" \
    > "groups.$workers.log"
done
echo "the groups of two workers beside those of one (the cutoff is estimated by each worker from its own subscribers):"
tail -n +2 found.1_1.nodes.csv | cut -d, -f1,2 | awk -F, '{ member[$2] = member[$2] " " $1 } END { for (g in member) print g member[g] }' \
  > one_worker.txt
run "$bin/vesk-inspect" groups found.2_1.nodes.csv one_worker.txt
echo "the groups that were found beside those that were planted:"
run "$bin/vesk-inspect" groups found.1_1.nodes.csv planted.txt --largest 3

step "the level that gives the best groups, the same on any number of ranks, and what changed since the run before"
for workers in 1 2; do
  echo "+ mpirun -n $workers vesk-analyze groups groups.1.xml month.bin --levels auto --previous found.1_1.nodes.csv ... > best.log"
  mpirun -n "$workers" "$bin/vesk-analyze" groups groups.1.xml month.bin --levels auto --previous found.1_1.nodes.csv \
    --set "OutputFileName=best.$workers" --results-json best.json > best.log
done
cmp best.1_1.nodes.csv best.2_1.nodes.csv
cmp best.1_levels.csv best.2_levels.csv
cut -d , -f 1,4,5,10,11,13 best.1_levels.csv
cut -d , -f 1 best.1_changes.csv | sed 1d | sort | uniq -c

step "a model of what subscribers spend: the curve of tenure that was planted, and the one that is learned"
run "$bin/vesk-generate" table --rows 50000 -o spend.csv --curve curve.csv --quiet
run "$bin/vesk" table csv spend.csv spend.bin --target spend > table.log
run "$bin/vesk-inspect" dataset spend.bin --rows 4
cat > train.xml << 'END'
<AnalysisParams>
  <Model>FeatureTransform</Model>
  <SplitField>tenure</SplitField>
  <UnseenValues>Root</UnseenValues>
  <ModelFileName>spend.model</ModelFileName>
  <OutputFileName>spend</OutputFileName>
</AnalysisParams>
END
for workers in 1 2; do
  echo "+ mpirun -n $workers vesk-analyze train train.xml spend.bin --strict > train.$workers.log"
  mpirun -n "$workers" "$bin/vesk-analyze" train train.xml spend.bin --strict > "train.$workers.log"
  mv spend.model "spend.$workers.model"
done
cmp spend.1.model spend.2.model && echo "one and two workers give the same model"
sed -n '/^Mean squared error/,$p' spend_report.txt
# Subscribers who differ in nothing but tenure, with the mean of everything else: the curve as it was planted.
awk -F, 'NR == 1 { print "tenure,minutes,calls,plan,region" } NR > 1 { print $1 ",500,100,duo,R01" }' curve.csv > probe.csv
run "$bin/vesk" table csv probe.csv probe.bin > probe.log
run "$bin/vesk-analyze" score spend.1.model probe.bin probe.predicted.csv --keep tenure
echo "   tenure   planted   learned"
paste -d, curve.csv probe.predicted.csv | awk -F, 'NR > 1 { printf "%9.1f %9.2f %9.2f\n", $1, $2, $5 }'

step "what a linear model cannot have: a step, a product of two columns, missing cells that tell"
run "$bin/vesk-generate" table --rows 20000 --missing 0.1 --signals -o signals.csv --quiet
run "$bin/vesk" table csv signals.csv signals.bin --target spend > signals.log
cat > boosted.xml << 'END'
<AnalysisParams>
  <Model>TransformRegression</Model>
  <UnseenValues>Root</UnseenValues>
  <ModelFileName>boosted.model</ModelFileName>
  <OutputFileName>boosted</OutputFileName>
</AnalysisParams>
END
echo "+ vesk-analyze train boosted.xml signals.bin --set Model=LinearRegression ... > linear.log"
"$bin/vesk-analyze" train boosted.xml signals.bin --strict --set Model=LinearRegression \
  --set ModelFileName=linear.model --set OutputFileName=linear > linear.log
for workers in 1 2; do
  echo "+ mpirun -n $workers vesk-analyze train boosted.xml signals.bin --strict > boosted.$workers.log"
  mpirun -n "$workers" "$bin/vesk-analyze" train boosted.xml signals.bin --strict > "boosted.$workers.log"
  run "$bin/vesk-analyze" score boosted.model signals.bin "boosted.$workers.csv" --stages --reasons 2 --keep spend
  mv boosted.model "boosted.$workers.model"
done
cmp boosted.1.model boosted.2.model && cmp boosted.1.csv boosted.2.csv && echo "one and two workers give the same model and predictions"
sed -n '/^Stages/,/^Transform/p' boosted_report.txt | sed '$d'
echo "mean squared error of the test records; the noise alone has 25"
awk -F, 'FNR == 1 { for (i = 1; i <= NF; ++i) column[$i] = i; next }
         $column["kept"] == 1 { loss[FILENAME] = $column["loss_test"] }
         END { linear = loss["linear_stages.csv"]; boosted = loss["boosted_stages.csv"]
               printf "  linear model  %8.3f\n  boosted model %8.3f\n", linear, boosted
               exit !(boosted < linear) }' linear_stages.csv boosted_stages.csv

step "from calls to a lift curve: who takes up an offer, told by the usage alone and with the network"
# outcomes.csv has for each caller of the month whether the offer before was taken up, and whether this one is.
load month_sums.log month sums.xml none month_sums.bin 0
load month_pairs.log month parts.xml none month_pairs.bin 0
run "$bin/vesk" table rows month_sums.bin usage.bin --columns 1:calls,2:seconds,3:long_calls
awk -F, '$2 == 1 { print $1 }' outcomes.csv > adopters.txt
sed -e 's/seeds.txt/adopters.txt/' -e 's/energy.2.csv/adopters_energy.csv/' diffusion.2.xml > adopters.xml
echo "+ mpirun -n 2 vesk-analyze diffusion adopters.xml month_pairs.bin --strict ... > adopters.log"
mpirun -n 2 "$bin/vesk-analyze" diffusion adopters.xml month_pairs.bin --strict --results-json adopters.json > adopters.log
# The model learns from the callers of one table and is judged by those of the other, of which the training reads nothing.
awk -F, 'NR == 1 || $1 % 5 > 1' outcomes.csv > learn.csv
awk -F, 'NR == 1 || $1 % 5 <= 1' outcomes.csv > judge.csv
for part in learn judge; do
  "$bin/vesk" table csv "$part.csv" "$part.outcomes.bin" --target outcome > "$part.log"
  echo "+ vesk table join $part.outcomes.bin $part.bin --key caller --with usage.bin ... >> $part.log"
  "$bin/vesk" table join "$part.outcomes.bin" "$part.bin" --key caller --with usage.bin \
    --with found.1_1.nodes.csv:group_ --with adopters_energy.csv:energy_ >> "$part.log"
  grep 'key column' "$part.log"
done
# The table tells which columns come from the network.
network_columns=$(cut -d' ' -f1 learn.bin.info | grep -E '^(group|energy)_' | paste -sd,)
cat > offer.xml << 'END'
<AnalysisParams>
  <Model>TransformRegression</Model>
  <LossFunction>LogisticLink</LossFunction>
  <UnseenValues>Root</UnseenValues>
  <TestPercent>0</TestPercent>
  <ModelFileName>network.model</ModelFileName>
  <OutputFileName>network</OutputFileName>
</AnalysisParams>
END
for model in usage network; do
  supplementary=caller,group_GroupNumber  # a number that only names the group is no input
  [ "$model" = network ] || supplementary=caller,$network_columns
  echo "+ mpirun -n 2 vesk-analyze train offer.xml learn.bin --set ModelFileName=$model.model ... > $model.train.log"
  mpirun -n 2 "$bin/vesk-analyze" train offer.xml learn.bin --strict --set "Supplementary=$supplementary" \
    --set "ModelFileName=$model.model" --set "OutputFileName=$model" > "$model.train.log"
  echo "+ mpirun -n 2 vesk-analyze evaluate - $model.model judge.bin ... > $model.evaluate.log"
  mpirun -n 2 "$bin/vesk-analyze" evaluate - "$model.model" judge.bin --strict --set "OutputFileName=$model" > "$model.evaluate.log"
done
run "$bin/vesk-analyze" score network.model judge.bin judge_scores.csv --keep caller,outcome
# The lift of the first records: their mean outcome over that of all, on a straight line within a bin.
lift_at() {
  awk -F, -v share="$2" 'FNR == NR { if ($1 == "records") wanted = share * $2; next }
    FNR == 1 || $3 == 0 { next }
    lift == "" && $4 >= wanted { lift = (sum + (wanted - records) * ($7 - sum) / ($4 - records)) / wanted }
    { records = $4; sum = $7; if ($8 > 0) mean = sum / records / $8 }
    END { printf "%.2f", lift / mean }' "$1_quality.csv" "$1_lift.csv"
}
echo "lift on callers never seen    1 %     5 %    10 %"
for model in usage network; do
  printf '  %-20s %8s %7s %7s\n' "$model" "$(lift_at $model 0.01)" "$(lift_at $model 0.05)" "$(lift_at $model 0.1)"
done
echo "network_report.html is a page with the curve; the inputs to which the predictions are most sensitive:"
sed -n 2,5p network_sensitivity.csv | awk -F, '{ printf "  %-28s %5.1f %%\n", $1, 100 * $2 }'

step "the parameter file of the sums as an object stream"
run "$bin/vesk-inspect" xml sums.xml --save sums.stream > /dev/null
run "$bin/vesk-inspect" stream sums.stream | sed -n 1,12p

step "a page for people: the groups of the month, and the energy from those who took up the offer before"
run "$bin/vesk" report --groups best.2 --energy adopters_energy.csv --seeds adopters.txt --run best.json \
  --run adopters.json --title "Groups and diffusion of the demo" -o page.html
echo "open $PWD/page.html in a browser"

step "done; everything lies in build/demo"
ls -l | awk 'NR > 1 { printf "%12s  %s\n", $5, $9 }'
cat <<'NOTE'
door/              a CSV file, its records, the state of a day, ids and energy
day1/, day2/       record files            table.process     the tables, for the next day's run
*.xml              parameter files         *.log             the loader's report lines
day2.bin           dataset of the tables   pairsum.bin       dataset of the pairs
sums.bin.0 .1 .2   datasets of the sums    groups.txt        the planted groups
sums.stream        a tree of tags as an object stream
month.bin          the table with groups  found.*.csv       groups and their members, with ranks and leaders
best.*.csv         the groups of the best level, the levels, the changes
spend.csv          a generated table      spend.bin         its dataset, with .info and .labels
curve.csv          its planted curve      spend.*.model     the models of one and two workers
signals.csv        a table with signals   linear_* boosted_*  reports of two models of it
spend_*            reports of the model   probe.predicted.csv  predictions
parts.bin.0 .1     dataset of the pairs   energy.*.csv      energy and degrees of each subscriber
outcomes.csv       outcome of each caller month_*.bin.*     sums and pairs of the month
usage.bin          a table of the sums    learn.bin judge.bin outcomes with sums, groups and energies
usage.* network.*  models of the outcome  usage_* network_*  their reports and evaluations; _report.html is a page
adopters_energy.csv  energy from those who took up the offer before
judge_scores.csv   predictions of the model with the network
page.html          groups and energies for people; page.*.csv have its numbers
NOTE
