// The look of a report: on a desk, on a phone, in the dark, and in print.
#pragma once

namespace korvo {

inline constexpr const char* kPageStyle = R"css(
:root {
  color-scheme: light dark;
  --paper: #f6f7f9; --card: #ffffff; --ink: #1b2430; --quiet: #5c6877; --rule: #e1e5ea;
  --good: #2f855a; --soon: #b7791f; --bad: #c53030; --none: #e4e8ed;
  --good-soft: #e3f4ea; --soon-soft: #fbf0d9; --bad-soft: #fce4e4;
  --accent: #2b6cb0; --accent-soft: #bcd3ea;
}
@media (prefers-color-scheme: dark) {
  :root {
    --paper: #12161c; --card: #1b212a; --ink: #e6eaf0; --quiet: #9aa7b6; --rule: #2c3541;
    --good: #4fb783; --soon: #e0aa4a; --bad: #f07878; --none: #2a323d;
    --good-soft: #17352a; --soon-soft: #3a2f17; --bad-soft: #3f2023;
    --accent: #6ea8e0; --accent-soft: #2f4964;
  }
}
* { box-sizing: border-box; }
body {
  margin: 0; background: var(--paper); color: var(--ink);
  font: 16px/1.5 system-ui, -apple-system, "Segoe UI", Roboto, "Noto Sans", "DejaVu Sans", sans-serif;
}
main { max-width: 68rem; margin: 0 auto; padding: 3rem 1.5rem 4rem; }
h1 { font-size: 1.9rem; line-height: 1.2; margin: 0 0 .25rem; letter-spacing: -.01em; overflow-wrap: anywhere; }
h2 { font-size: 1.25rem; margin: 3rem 0 1rem; }
h3 { font-size: 1rem; margin: 0; overflow-wrap: anywhere; }
p { margin: 0 0 .75rem; max-width: 46rem; }
.quiet, figcaption { color: var(--quiet); font-size: .875rem; }
.verdict { margin: 1.5rem 0; padding: 1rem 1.25rem; border-left: .3rem solid; border-radius: .4rem; font-size: 1.1rem; }
.verdict p { margin: 0; max-width: none; }
.verdict.good { background: var(--good-soft); border-color: var(--good); }
.verdict.soon { background: var(--soon-soft); border-color: var(--soon); }
.verdict.bad { background: var(--bad-soft); border-color: var(--bad); }
.numbers { display: grid; grid-template-columns: repeat(auto-fit, minmax(9.5rem, 1fr)); gap: 1rem; margin: 0; }
.numbers div, .card, figure { background: var(--card); border: 1px solid var(--rule); border-radius: .6rem; }
.numbers div { padding: 1rem 1.25rem; display: flex; flex-direction: column; justify-content: space-between; }
.numbers dt { color: var(--quiet); font-size: .875rem; }
.numbers dd { margin: 0; font-size: 1.45rem; font-variant-numeric: tabular-nums; }
.cards { display: grid; grid-template-columns: repeat(auto-fill, minmax(19rem, 1fr)); gap: 1rem; }
.card { padding: 1.25rem; break-inside: avoid; }
.card header { display: flex; gap: .75rem; justify-content: space-between; align-items: baseline; }
.age { font-size: 1.45rem; margin: .5rem 0 .1rem; }
.chip { border-radius: 1rem; padding: .1rem .7rem; font-size: .8rem; font-weight: 600; white-space: nowrap; }
.chip.good { background: var(--good-soft); color: var(--good); }
.chip.soon { background: var(--soon-soft); color: var(--soon); }
.chip.bad { background: var(--bad-soft); color: var(--bad); }
.calendar { display: block; margin-top: 1rem; max-width: 100%; height: auto; }
svg text { font-size: 11px; fill: var(--quiet); font-family: inherit; }
.day rect { fill: var(--none); }
.day.good rect { fill: var(--good); }
.day.mixed rect { fill: var(--soon); }
.day.failed rect { fill: var(--bad); }
.day text { fill: var(--card); font-weight: 700; }
.key { display: flex; flex-wrap: wrap; gap: .4rem 1.25rem; padding: 0; list-style: none; margin: 1rem 0 0; }
.key li { display: flex; align-items: center; gap: .4rem; }
.key svg { width: 13px; height: 13px; }
.plots { display: grid; grid-template-columns: repeat(auto-fit, minmax(min(100%, 24rem), 1fr)); gap: 1rem; }
figure { margin: 0; padding: 1.25rem; break-inside: avoid; }
figure h3 { margin-bottom: .75rem; }
figcaption { margin-top: .5rem; }
.plot { display: block; width: 100%; height: auto; }
.grid { stroke: var(--rule); stroke-width: 1; }
.area { fill: var(--accent-soft); opacity: .6; }
.line { fill: none; stroke: var(--accent); stroke-width: 2; }
.files { fill: var(--accent-soft); }
.added { fill: var(--accent); }
table { width: 100%; border-collapse: collapse; font-size: .925rem; background: var(--card);
  border: 1px solid var(--rule); border-radius: .6rem; border-spacing: 0; overflow: hidden; }
th, td { text-align: left; padding: .6rem .9rem; border-bottom: 1px solid var(--rule); vertical-align: top; }
tr:last-child td { border-bottom: 0; }
th { color: var(--quiet); font-weight: 600; font-size: .8rem; }
td { overflow-wrap: break-word; }
.right { text-align: right; white-space: nowrap; font-variant-numeric: tabular-nums; }
footer { margin-top: 3rem; padding-top: 1rem; border-top: 1px solid var(--rule); }
@media (max-width: 40rem) {
  main { padding: 1.5rem 1rem 3rem; }
  h2 { margin-top: 2.25rem; }
  .numbers { grid-template-columns: repeat(2, 1fr); gap: .6rem; }
  .numbers div { padding: .75rem .9rem; }
  .numbers div:last-child:nth-child(odd) { grid-column: 1 / -1; }
  .numbers dd, .age { font-size: 1.25rem; }
  .cards { grid-template-columns: 1fr; }
  figure { padding: 1rem .75rem; }
  table, tbody, tr, td { display: block; }
  thead { display: none; }
  tr { padding: .6rem 0; border-bottom: 1px solid var(--rule); }
  tr:last-child { border-bottom: 0; }
  td, .right { border: 0; padding: .15rem .9rem; display: flex; justify-content: space-between; gap: 1rem;
    text-align: right; white-space: normal; }
  td::before { content: attr(data-title); color: var(--quiet); text-align: left; flex: none; }
}
@media print {
  :root { --paper: #fff; --card: #fff; --ink: #000; --quiet: #444; --rule: #bbb; }
  body { font-size: 11px; }
  main { max-width: none; padding: 0; }
  h2 { margin-top: 1.5rem; break-after: avoid; }
  tr { break-inside: avoid; }
  * { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
}
)css";

}  // namespace korvo
