#ifndef VESK_PAGE_PAGE_STYLE_H
#define VESK_PAGE_PAGE_STYLE_H

namespace vesk_page {

/// The style sheet of the pages. Colour-blind readers can distinguish blue and orange, and both are legible
/// on a light and on a dark page.
inline constexpr const char* pageStyle = R"css(
:root { color-scheme: light dark; --page: #ffffff; --text: #1d2329; --faint: #5b6670; --rule: #d5dbe0;
  --panel: #f5f7f9; --blue: #0072b2; --orange: #d98200; --warn: #fff3d6; }
@media (prefers-color-scheme: dark) {
  :root { --page: #15191d; --text: #e4e8eb; --faint: #9da8b2; --rule: #39424a; --panel: #1d2328; --blue: #56b4e9;
    --orange: #f0a630; --warn: #3d3215; }
}
* { box-sizing: border-box; }
body { margin: 0 auto; max-width: 68rem; padding: 1.25rem; background: var(--page); color: var(--text);
  font: 1rem/1.5 system-ui, "Segoe UI", "Helvetica Neue", Arial, sans-serif; overflow-wrap: break-word; }
h1, h2, h3, p, li { overflow-wrap: anywhere; }
h1 { font-size: 1.6rem; line-height: 1.25; margin: 0 0 .75rem; }
h2 { font-size: 1.25rem; margin: 2.25rem 0 .5rem; padding-top: .75rem; border-top: 1px solid var(--rule); }
h3 { font-size: 1.05rem; margin: 1.25rem 0 .25rem; }
p { margin: .5rem 0; max-width: 46rem; }
.note { color: var(--faint); font-size: .9rem; }
.warnings { background: var(--warn); border-left: 4px solid var(--orange); padding: .6rem 1rem;
  margin: 1rem 0; }
.warnings ul { margin: .25rem 0; padding-left: 1.25rem; }
.pair { display: grid; grid-template-columns: repeat(auto-fit, minmax(min(100%, 26rem), 1fr)); gap: 1rem 2rem;
  align-items: start; }
.pair > * { min-width: 0; }
.scroll { overflow-x: auto; }
table { border-collapse: collapse; font-size: .875rem; font-variant-numeric: tabular-nums; }
th, td { padding: .22rem .5rem; max-width: 34rem; border-bottom: 1px solid var(--rule); text-align: left; vertical-align: top; }
thead th { white-space: nowrap; background: var(--panel); font-weight: 600; }
.number { text-align: right; white-space: nowrap; }
details { margin: .25rem 0 1rem; }
summary { cursor: pointer; color: var(--faint); font-size: .9rem; }
svg { display: block; width: 100%; max-width: 36rem; height: auto; }
svg text { fill: var(--text); font-size: 12px; font-family: inherit; }
svg polyline { fill: none; stroke: var(--rule); stroke-width: 1; }
svg .axis { stroke: var(--faint); stroke-width: 1.5; }
svg .boundary { stroke-dasharray: 2 4; }
svg .line { stroke-width: 2.5; }
svg .line.predicted { stroke: var(--blue); }
svg .line.actual { stroke: var(--orange); stroke-dasharray: 9 4; }
svg .line.chance { stroke: var(--faint); stroke-width: 1.5; stroke-dasharray: 2 4; }
svg .fill.predicted { fill: var(--blue); }
svg .fill.actual { fill: var(--orange); }
@media print {
  body { max-width: none; padding: 0; font-size: 10pt; }
  figure, tr, .field { break-inside: avoid; }
  h2, h3 { break-after: avoid; }
  summary { display: none; }
}
figure { margin: 0; }
)css";

}  // namespace vesk_page

#endif  // VESK_PAGE_PAGE_STYLE_H
