#ifndef VESK_REPORT_STYLE_H
#define VESK_REPORT_STYLE_H

namespace vesk {

/// What a report's page has beside the style sheet of all pages. Pictures are never narrower than their own units on a
/// screen of 400 pixels, so that their texts stay readable.
inline constexpr const char* reportStyle = R"css(
:root { --orange: #a85f00; --edge: #9aa5ae; }
@media (prefers-color-scheme: dark) { :root { --orange: #f0a630; --edge: #6a757e; } }
body { max-width: 72rem; }
.warnings h2 { margin: 0; padding: 0; border: 0; font-size: 1rem; }
caption { text-align: left; font-weight: 600; padding: .25rem .5rem .25rem 0; }
th[scope=row] { font-weight: 400; overflow-wrap: anywhere; min-width: 3.5rem; }
thead th, thead th.number { white-space: normal; vertical-align: bottom; }
.tables { display: flex; flex-wrap: wrap; align-items: flex-start; column-gap: 3rem; }
.tables > * { max-width: 100%; }
.tables > details { flex-basis: 100%; }
/* A shadow at the right edge of a table that scrolls. */
.scroll { margin: .75rem 0 1rem; background: linear-gradient(to left, var(--page) 1.5rem, transparent) right / 3rem 100% no-repeat local,
  linear-gradient(to left, var(--edge), transparent) right / .9rem 100% no-repeat scroll; }
.scroll:focus-visible { outline: 2px solid var(--blue); outline-offset: 2px; }
.pair { margin: .75rem 0; }
figcaption { font-weight: 600; font-size: .95rem; }
svg { max-width: 30rem; }
svg text { font-size: 12.5px; }
svg .line.first { stroke: var(--blue); }
svg .line.second { stroke: var(--orange); stroke-dasharray: 7 3; }
svg .line.chosen { stroke: var(--text); stroke-width: 1.5; stroke-dasharray: 2 3; }
svg .fill.first, svg .shade { fill: var(--blue); }
svg .fill.second { fill: var(--orange); }
svg .shade1 { fill-opacity: .35; }
svg .shade2 { fill-opacity: .5; }
svg .shade3 { fill-opacity: .65; }
svg .shade4 { fill-opacity: .82; }
@media (max-width: 30rem) { body { padding: .75rem; } }
@media print { .scroll { overflow: visible; } }
)css";

}  // namespace vesk

#endif  // VESK_REPORT_STYLE_H
