#include "HtmlTemplate.h"

const std::string_view kHtmlPage = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; img-src data:; style-src 'unsafe-inline'; script-src 'sha256-{}'">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<title>{}</title>
<style>{}</style>
</head>
<body>
<main>
{}</main>
<script>{}</script>
</body>
</html>
)";

const std::string_view kHtmlStyle = R"(
:root { color-scheme: light dark; --text: #1a1a1a; --soft: #555; --back: #fff; --line: #bbb; --panel: #f3f3f3; --bad: #a4006d; --link: #0645ad; }
@media (prefers-color-scheme: dark) {
  :root { --text: #eee; --soft: #b5b5b5; --back: #161616; --line: #555; --panel: #242424; --bad: #ff8ad8; --link: #8ab4f8; }
}
body { margin: 0; color: var(--text); background: var(--back); font: 15px/1.45 system-ui, sans-serif; }
main { max-width: 75rem; margin: 0 auto; padding: 1rem; }
h1 { font-size: 1.6rem; } h2 { font-size: 1.25rem; margin-top: 2rem; } h3 { font-size: 1rem; overflow-wrap: anywhere; }
a { color: var(--link); }
.scroll { overflow-x: auto; }
table { border-collapse: collapse; }
caption { text-align: left; color: var(--soft); padding: .3rem 0; }
th, td { border: 1px solid var(--line); padding: .2rem .5rem; text-align: left; vertical-align: top; overflow-wrap: break-word; }
thead th { background: var(--panel); }
td.n { text-align: right; font-variant-numeric: tabular-nums; white-space: nowrap; }
.bad { color: var(--bad); font-weight: 600; }
th button { all: unset; cursor: pointer; font-weight: bold; }
th button::after { content: " \2195"; color: var(--soft); }
th[aria-sort=ascending] button::after { content: " \2191"; }
th[aria-sort=descending] button::after { content: " \2193"; }
th button:focus-visible { outline: 2px solid var(--link); }
.strip { display: block; width: 100%; height: 3rem; border: 1px solid var(--line); background: var(--panel); }
.strip rect { fill: var(--bad); }
article { border: 1px solid var(--line); padding: 0 1rem 1rem; margin: 1rem 0; }
.pictures { display: flex; flex-wrap: wrap; gap: 1rem; }
figure { margin: 0; width: 22rem; max-width: 100%; }
figure img, figure svg.shot { display: block; width: 100%; height: auto; max-height: 22rem; object-fit: contain; background: var(--panel); border: 1px solid var(--line); image-rendering: pixelated; }
svg.shot .outer { fill: none; stroke: #000; stroke-width: 5; vector-effect: non-scaling-stroke; }
svg.shot .inner { fill: none; stroke: #f0f; stroke-width: 2.5; vector-effect: non-scaling-stroke; }
figcaption { color: var(--soft); }
.legend { display: flex; list-style: none; margin: .3rem 0; padding: 0; }
.legend li { flex: 1; } .legend svg { display: block; width: 100%; height: .8rem; }
@page { margin: 14mm; }
@media print {
  :root { font-size: 9pt; --text: #000; --soft: #333; --back: #fff; --line: #888; --panel: #eee; --bad: #80004f; --link: #000; }
  body { font-size: 1rem; } main { max-width: none; padding: 0; } .scroll { overflow: visible; }
  h2, article, figure, tr { break-inside: avoid; } h2::after { content: ""; display: block; height: 11cm; margin-bottom: -11cm; }
  article { padding: 0 .6rem .6rem; margin: .6rem 0; } h3 { margin: .5rem 0; } p { margin: .4rem 0; } th, td { padding: .1rem .4rem; }
  .pictures { flex-wrap: nowrap; gap: .6rem; } figure { flex: 1 1 0; width: auto; } figure img, figure svg.shot { max-height: 4.5cm; }
  caption { white-space: nowrap; } th button::after { content: ""; }
  * { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
}
)";

const std::string_view kHtmlScript = R"(
"use strict";
const order = new Intl.Collator("en", { numeric: true });
for (const table of document.querySelectorAll("table.sortable")) {
  const heads = [...table.tHead.rows[0].cells];
  heads.forEach((head, column) => {
    const button = document.createElement("button");
    button.type = "button";
    button.append(...head.childNodes);
    head.append(button);
    button.addEventListener("click", () => {
      const down = head.getAttribute("aria-sort") === "ascending";
      for (const other of heads) other.removeAttribute("aria-sort");
      head.setAttribute("aria-sort", down ? "descending" : "ascending");
      const rows = [...table.tBodies[0].rows];
      rows.sort((a, b) => order.compare(a.cells[column].textContent, b.cells[column].textContent) * (down ? -1 : 1));
      table.tBodies[0].append(...rows);
    });
  });
}
)";

const std::string_view kHtmlScriptHash = "8aiyoL+WSo64E9g4DWLd1rhKI+N3sphHdgT3/9GjS8k=";
