#!/bin/bash
# An archive of two servers gives back what the files hold, whatever was loaded how often and
# whichever server was away meanwhile: shards.sh SONIC-RECORDS MAKE-FILES
set -euo pipefail
archive=$(realpath "$(dirname "$0")/../../archive")
[[ ${SONIC_STORE-} ]] || exec "$archive/sonic-store" --shards "$0" "$@"
PATH=$archive:$(dirname "$1"):$PATH
make_files=$2
midnight=1700006400
period=(from=2023-11-14 to=2023-11-16)

fails() { if "$@"; then exit 1; fi; }
on_server() { clickhouse-client --host "127.0.0.$1" --query "$2"; }
has_records() { (($(on_server "$1" "SELECT count() FROM sonic.records") > 0)); }
start_server() {
  clickhouse-server --config-file="$SONIC_STORE_FOLDER/$1/config.xml" >/dev/null 2>&1 &
  echo $! >"$SONIC_STORE_FOLDER/$1/pid"
  until on_server "$1" "SELECT 1" >/dev/null 2>&1; do sleep 0.1; done
}
# reading_does TEXT COMMAND...: runs it with shell text in the place of sonic-records.
reading_does() (
  eval "sonic-records() { $1; }"
  export -f sonic-records
  "${@:2}"
)
# make_half_hours START SECONDS: of three stations, each with a wind of its own.
make_half_hours() {
  local n
  for n in 7 8 9; do
    mkdir -p mast-0$n
    "$make_files" mast-0$n "$1" "$2" $n
  done
}
# Each station's records are those of its files, to the last byte, and none twice.
archive_is_right() {
  local station
  for station in mast-*; do
    diff -q <(sonic-records --epoch "$station"/* | sort -u) \
      <(sonic-ask series station="$station" "${period[@]}" | sort)
  done
}

# columns NAME...: of a table.
columns() {
  awk -F '\t' -v OFS='\t' -v names="$*" '
    NR == 1 { n = split(names, wanted, " "); for (i = 1; i <= NF; i++) at[$i] = i }
    { for (i = 1; i <= n; i++) printf "%s%s", $at[wanted[i]], i < n ? OFS : ORS }'
}

cd "$SONIC_STORE_FOLDER"
make_half_hours $((midnight - 1800)) 3600
first=$((midnight - 1800)).young_81000_v second=$midnight.young_81000_v
mkdir mast-10 && head -n 13 mast-09/$second.9 >mast-10/1  # eight records, whose means end in a 5

echo "A file that is not all there yet, then all of it"
cp mast-07/$second.7 whole
truncate -s 1000000 mast-07/$second.7
sonic-load mast-*/*
archive_is_right
has_records 1
has_records 2
cp whole mast-07/$second.7
sonic-load mast-*/*
archive_is_right

echo "A file that is in is not read again; under another name it changes nothing"
reading_does "exit 1" sonic-load mast-*/*
sonic-load --station mast-07 whole
archive_is_right

echo "The clock was put back: other values with the stamps of earlier ones"
tail -n 1000 mast-08/$first.8 >>mast-07/$first.7
sonic-load mast-*/*
archive_is_right

echo "No other is kept out by a file without records, a refused name and a missing file"
make_half_hours $((midnight + 1800)) 1800
mkdir a,b && echo "no data file" | tee a,b/1 >mast-08/1
fails sonic-load a,b/1 mast-*/* missing
archive_is_right
fails sonic-load mast-*/*
rm mast-08/1

echo "A server goes away while files are loaded, is away, and comes back"
make_half_hours $((midnight + 3600)) 1800
fails reading_does "kill -KILL $(<2/pid); command sonic-records \"\$@\"" sonic-load mast-*/*
fails sonic-load mast-*/*
start_server 2
sonic-load mast-*/*
archive_is_right

echo "Half-hour fluxes are those of the files, which have zeros at the end"
for station in mast-*; do
  sonic-ask half_hours station="$station" "${period[@]}" >asked
  read -ra names <asked
  diff <(sonic-records --half-hours "$station"/* | columns "${names[@]}" |
    sed -E 's/(\.[0-9]*[1-9])0+\b/\1/g; s/\.0+\b//g') asked
done

echo "A gust is the highest mean over three seconds"
diff <(sonic-records --epoch mast-09/$second.9 | awk '
    NR > 1 { for (ago = 0; ago < 3; ago++) { sum[$1 - ago] += sqrt($3 ^ 2 + $4 ^ 2); n[$1 - ago]++ } }
    END { for (s in n) if (n[s] == 96 && sum[s] > most) most = sum[s]; print sprintf("%.3f", most / 96) + 0 }') \
  <(sonic-ask gusts station=mast-09 "${period[@]}" | grep "^2023-11-15 00:00" | cut -f 3)
