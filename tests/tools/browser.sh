#!/bin/bash
# browser.sh PROGRAM ROOT FOLDER: opens pages of core-inspect in headless Chromium, moves the
# pointer over them, and holds what is shown at the cursor against what the library answers
# there, to the last bit. Ends with 77 where there is no Chromium.
set -euo pipefail
program=$1
data=$2/examples/data
folder=$3
browser=$(command -v chromium || command -v chromium-browser || command -v google-chrome) || exit 77
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"

# What a user would do, and a line "curve channel time value" for each number that is shown.
cat >steps.js <<'JS'
{
  const lines = [];
  window.addEventListener("error", event => lines.push("error " + event.message));
  const note = () => {
    draw();  // without a wait for the next frame of the screen
    const time = document.getElementById("time").dataset.value;
    document.querySelectorAll("section").forEach((section, curve) =>
      section.querySelectorAll("td.number[data-value]").forEach((cell, channel) =>
        lines.push(`${curve} ${channel} ${time} ${cell.dataset.value}`)));
  };
  const key = name => document.dispatchEvent(new KeyboardEvent("keydown", {key: name}));
  const canvases = [...document.querySelectorAll(".lane:not(.path) .cursor")];
  const point = (type, x, more = {}) => {
    for (const canvas of canvases) {
      const box = canvas.getBoundingClientRect();
      canvas.dispatchEvent(new PointerEvent(type, {pointerType: "mouse", pointerId: 1,
        clientX: box.left + box.width * x, clientY: box.top + 20, ...more}));
      note();
    }
  };
  note();
  for (let x = 0.05; x < 1; x += 0.19) point("pointermove", x);
  canvases[0].dispatchEvent(new WheelEvent("wheel", {deltaY: -1500, clientX: 500}));
  for (let x = 0.07; x < 1; x += 0.23) point("pointermove", x);
  for (const name of [".", ".", "ArrowRight", ",", "End", "Home", "0", "h", "t", "t"]) {
    key(name);
    note();
  }
  document.body.innerHTML = `<pre id=lines>\n${lines.join("\n")}\n</pre>`;
}
JS

# shown PAGE: those lines.
shown() {
    { cat "$1" && echo "<script>" && cat steps.js && echo "</script>"; } >"moved-$1"
    timeout 120 "$browser" --headless --no-sandbox --disable-gpu --user-data-dir="$folder/profile" \
        --window-size=1000,2400 --dump-dom \
        "file://$folder/moved-$1" 2>browser.log |
        sed -n '/<pre id="lines">/,/<\/pre>/p' | grep -E '^(error|[0-9])' || true
}

# agrees PAGE CURVE FILE FIRST-CHANNEL: the numbers of a curve are those of FILE.
agrees() {
    local page=$1 curve=$2 file=$3 first=$4 arguments=() time count
    ! grep '^error' "lines-$page" || exit 1
    awk -v c="$curve" '$1 == c { print $3 }' "lines-$page" | sort -u >times
    while read -r time; do arguments+=(--at "$time"); done <times
    "$program" sample "$file" --format csv "${arguments[@]}" | tail -n +2 >answers
    awk -v c="$curve" -v first="$first" -F '[ ,]' '
        NR == FNR { for (i = 2; i <= NF; ++i) answer[$1, first + i - 2] = $i; next }
        $1 == c && ($3, $2) in answer {
            ++count
            if (answer[$3, $2] + 0 != $4 + 0) { print "shown: " $0 ", not " answer[$3, $2]; bad = 1 }
        }
        END { if (count < 20) { print count + 0, "numbers are shown"; bad = 1 }; exit bad }' \
        answers "lines-$page"
    count=$(wc -l <times)
    [[ $count -ge 12 ]] || { echo "the cursor stops at $count times alone"; exit 1; }
}

"$program" page "$data/zoom.json" "$data/clip.json" -o page.html
shown page.html >lines-page.html
agrees page.html 0 "$data/zoom.json" 0
agrees page.html 1 "$data/clip.json" 0

sed 's/"_value": 2.4/"_value": 2.3/' "$data/zoom.json" >changed.json
"$program" page --diff "$data/zoom.json" changed.json -o diff.html
shown diff.html >lines-diff.html
agrees diff.html 0 changed.json 0
agrees diff.html 0 "$data/zoom.json" 1
