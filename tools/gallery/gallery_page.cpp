#include "tools/gallery/gallery_page.h"

#include "catalog/arguments.h"
#include "catalog/catalog.h"
#include "tools/miravex/commands.h"

#include <opencv2/core.hpp>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>

namespace miravex::tool {

namespace {

constexpr const char* style = R"(
:root { color-scheme: light dark; --page: #f6f5f2; --card: #ffffff; --ink: #23211d; --soft: #6d685f;
  --line: #e2ded6; --accent: #0b6e6e; --code: #f0eee9; --warn: #9a4b00; }
@media (prefers-color-scheme: dark) { :root { --page: #16171a; --card: #1f2125; --ink: #e8e6e1;
  --soft: #a09b91; --line: #33363c; --accent: #5cc6c0; --code: #282b30; --warn: #f0a35a; } }
* { box-sizing: border-box; }
body { margin: 0; background: var(--page); color: var(--ink); font: 16px/1.5 system-ui, sans-serif; }
header, main, footer { max-width: 78rem; margin: 0 auto; padding: 0 1.5rem; }
header { padding-top: 3rem; }
h1 { font-size: 2.4rem; margin: 0; letter-spacing: -0.02em; }
header p { color: var(--soft); margin: .3rem 0 0; max-width: 46rem; }
nav { position: sticky; top: 0; background: var(--page); border-bottom: 1px solid var(--line); z-index: 1;
  margin-top: 1.5rem; }
nav div { max-width: 78rem; margin: 0 auto; padding: .7rem 1.5rem; display: flex; gap: 1.5rem; flex-wrap: wrap; }
a { color: var(--accent); text-decoration: none; } a:hover { text-decoration: underline; }
h2 { font-size: 1.5rem; margin: 2.5rem 0 .3rem; scroll-margin-top: 4rem; }
.index { display: flex; flex-wrap: wrap; gap: .2rem 1rem; font-size: .9rem; margin-bottom: 1.2rem; }
article { background: var(--card); border: 1px solid var(--line); border-radius: 12px; padding: 1.3rem 1.5rem;
  margin-bottom: 1.2rem; scroll-margin-top: 4rem; }
.head { display: flex; justify-content: space-between; align-items: baseline; gap: 1rem; flex-wrap: wrap; }
h3 { margin: 0; font-size: 1.15rem; } h3 small { color: var(--soft); font-weight: 400; font-size: .85rem; }
.time { color: var(--soft); font-variant-numeric: tabular-nums; font-size: .9rem; white-space: nowrap; }
article > p { margin: .2rem 0 .6rem; color: var(--soft); }
pre { background: var(--code); border-radius: 8px; padding: .6rem .9rem; overflow-x: auto; margin: 0 0 1rem;
  font: .85rem/1.5 ui-monospace, monospace; }
pre::before { content: "$ "; color: var(--soft); }
.row { display: grid; grid-template-columns: minmax(0, 1fr) minmax(0, 1fr); gap: 1.2rem; }
@media (max-width: 44rem) { .row { grid-template-columns: minmax(0, 1fr); } }
.side { display: flex; flex-wrap: wrap; gap: .8rem; align-content: flex-start; align-items: flex-start; }
figure { margin: 0; flex: 1 1 7rem; min-width: 0; }
.side.one figure { flex: 0 1 auto; }
figure img { display: block; max-width: 100%; max-height: 26rem; border-radius: 6px; background: var(--code); }
figcaption { font-size: .8rem; color: var(--soft); margin-top: .25rem; }
.scroll { overflow-x: auto; flex: 1 1 100%; }
table { border-collapse: collapse; font: .8rem/1.4 ui-monospace, monospace; }
th, td { text-align: right; padding: .15rem .7rem; border-bottom: 1px solid var(--line); white-space: nowrap; }
th { color: var(--soft); font-weight: 600; }
.outcome { font-size: .85rem; color: var(--soft); margin: .2rem 0 0; flex: 1 1 100%; }
.note { color: var(--warn); font-size: .9rem; }
.source { font-size: .8rem; color: var(--soft); margin: .9rem 0 0; }
footer { color: var(--soft); font-size: .85rem; padding: 2rem 1.5rem 3rem; }
)";

std::string escaped(std::string_view text)
{
    std::string result;
    for (const char c : text) {
        switch (c) {
        case '&': result += "&amp;"; break;
        case '<': result += "&lt;"; break;
        case '>': result += "&gt;"; break;
        case '"': result += "&quot;"; break;
        default: result += c;
        }
    }
    return result;
}

std::string figuresOf(const std::vector<Figure>& figures)
{
    std::string html;
    for (const Figure& figure : figures)
        html += fmt::format("<figure><a href=\"{0}\"><img src=\"{0}\" alt=\"{1}\" loading=\"lazy\"></a>"
                            "<figcaption>{1}</figcaption></figure>\n",
                            escaped(figure.file), escaped(figure.caption));
    return html;
}

std::string cell(double value)
{
    const bool isWhole = value == std::floor(value) && std::abs(value) < 1e9;
    return isWhole ? fmt::format("{:.0f}", value) : fmt::format("{:.4g}", value);
}

constexpr std::size_t mostRows = 6, mostColumns = 8; ///< of a table that is shown

std::string tableHtml(const Table& table)
{
    const std::size_t columns = std::min(table.columns.size(), mostColumns);
    const bool cut = table.columns.size() > columns;
    std::string html = "<div class=\"scroll\"><table><tr>";
    for (std::size_t c = 0; c < columns; ++c) html += fmt::format("<th>{}</th>", escaped(table.columns[c]));
    html += cut ? "<th>…</th></tr>\n" : "</tr>\n";
    for (std::size_t r = 0; r < std::min(table.rows.size(), mostRows); ++r) {
        html += "<tr>";
        for (std::size_t c = 0; c < std::min(columns, table.rows[r].size()); ++c)
            html += fmt::format("<td>{}</td>", cell(table.rows[r][c]));
        html += cut ? "<td>…</td></tr>\n" : "</tr>\n";
    }
    html += "</table></div>\n";
    if (table.rows.size() > mostRows || cut)
        html += fmt::format("<p class=\"outcome\">{} rows, {} columns in all</p>\n", table.rows.size(),
                            table.columns.size());
    return html;
}

/// The same part of the table as data.
nlohmann::ordered_json headOf(const Table& table)
{
    const auto first = [](const auto& list, std::size_t most) {
        return std::vector(list.begin(),
                           list.begin() + static_cast<std::ptrdiff_t>(std::min(list.size(), most)));
    };
    auto rows = nlohmann::ordered_json::array();
    for (const auto& row : first(table.rows, mostRows)) rows.push_back(first(row, mostColumns));
    return { { "columns", first(table.columns, mostColumns) },
             { "rows", std::move(rows) },
             { "rowsInAll", table.rows.size() },
             { "columnsInAll", table.columns.size() } };
}

std::string sideOf(const std::vector<Figure>& figures, const std::string& more)
{
    return fmt::format("<div class=\"side{}\">\n{}{}</div>\n", figures.size() == 1 ? " one" : "",
                       figuresOf(figures), more);
}

std::string articleOf(const Exhibit& exhibit, bool first)
{
    const Operation& operation = *exhibit.operation;
    const std::string name = kebabCase(operation.name);
    const bool shown = exhibit.skipped.empty() && exhibit.failed.empty();
    std::string html = fmt::format("<article{}>\n<div class=\"head\"><h3>{} <small>opencv_{}</small></h3>",
                                   first ? fmt::format(" id=\"{}\"", name) : "", name, operation.name);
    if (shown && exhibit.milliseconds)
        html += fmt::format("<span class=\"time\">{:.4g} ms</span>", *exhibit.milliseconds);
    html += fmt::format("</div>\n<p>{}</p>\n",
                        escaped(exhibit.title.empty() ? operation.summary : exhibit.title));
    if (!exhibit.command.empty()) html += fmt::format("<pre>{}</pre>\n", escaped(exhibit.command));
    if (shown) {
        const std::string numbers = (exhibit.table ? tableHtml(*exhibit.table) : "")
            + fmt::format("<p class=\"outcome\">{}</p>\n", escaped(exhibit.outcome));
        html += fmt::format("<div class=\"row\">\n{}{}</div>\n", sideOf(exhibit.inputs, ""),
                            sideOf(exhibit.results, numbers));
    }
    for (const std::string& note : exhibit.notes)
        html += fmt::format("<p class=\"note\">{}</p>\n", escaped(note));
    if (!exhibit.skipped.empty())
        html += fmt::format("<p class=\"note\">Skipped: {}</p>\n", escaped(exhibit.skipped));
    if (!exhibit.failed.empty())
        html += fmt::format("<p class=\"note\">Failed: {}</p>\n", escaped(exhibit.failed));
    if (!operation.source.empty())
        html += fmt::format("<p class=\"source\">{}</p>\n", escaped(operation.source));
    return html + "</article>\n";
}

std::string anchorOf(const Room& room) { return fmt::format("room-{}", room.name); }

std::vector<const Exhibit*> exhibitsIn(const Room& room, const std::vector<Exhibit>& exhibits)
{
    std::vector<const Exhibit*> inside;
    for (const Exhibit& exhibit : exhibits)
        if (exhibit.operation->room == &room) inside.push_back(&exhibit);
    return inside;
}

std::string roomOf(const Room& room, const std::vector<const Exhibit*>& exhibits)
{
    std::string index, articles;
    const Operation* previous = nullptr;
    for (const Exhibit* exhibit : exhibits) {
        const bool first = exhibit->operation != previous;
        previous = exhibit->operation;
        const std::string name = kebabCase(exhibit->operation->name);
        if (first) index += fmt::format("<a href=\"#{0}\">{0}</a>\n", name);
        articles += articleOf(*exhibit, first);
    }
    return fmt::format("<h2 id=\"{}\">{}</h2>\n<div class=\"index\">\n{}</div>\n{}", anchorOf(room),
                       room.title, index, articles);
}

} // namespace

std::string pageOf(const std::vector<Exhibit>& exhibits)
{
    std::string navigation, body;
    for (const Room& room : rooms()) {
        const auto inside = exhibitsIn(room, exhibits);
        if (inside.empty()) continue;
        navigation += fmt::format("<a href=\"#{}\">{}</a>\n", anchorOf(room), room.title);
        body += roomOf(room, inside);
    }
    return fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<title>Miravex gallery</title>\n<style>{}</style>\n</head>\n<body>\n"
        "<header>\n<h1>Miravex gallery</h1>\n<p>Every operation on real pictures, called through the "
        "library's "
        "own interface. Words with @ name sample pictures; times are of the call alone, on this "
        "machine.</p>\n"
        "</header>\n<nav><div>\n{}</div></nav>\n<main>\n{}</main>\n"
        "<footer>Miravex {}, OpenCV {}, {} threads. Pictures: opencv-doc, python-matplotlib-data.</footer>\n"
        "</body>\n</html>\n",
        style, navigation, body, MIRAVEX_VERSION, cv::getVersionString(), cv::getNumThreads());
}

nlohmann::ordered_json jsonOf(const std::vector<Exhibit>& exhibits)
{
    const auto figures = [](const std::vector<Figure>& list) {
        auto json = nlohmann::ordered_json::array();
        for (const Figure& figure : list)
            json.push_back({ { "file", figure.file }, { "caption", figure.caption } });
        return json;
    };
    auto json = nlohmann::ordered_json::array();
    for (const Exhibit& exhibit : exhibits) {
        nlohmann::ordered_json entry { { "operation", kebabCase(exhibit.operation->name) },
                                       { "title", exhibit.title },
                                       { "command", exhibit.command },
                                       { "inputs", figures(exhibit.inputs) },
                                       { "results", figures(exhibit.results) },
                                       { "outcome", exhibit.outcome } };
        if (exhibit.milliseconds) entry["milliseconds"] = *exhibit.milliseconds;
        if (exhibit.layout != Layout::Plain) entry["layout"] = nameOf(exhibit.layout);
        if (!exhibit.files.empty()) entry["files"] = exhibit.files;
        if (exhibit.table) entry["table"] = headOf(*exhibit.table);
        if (!exhibit.notes.empty()) entry["notes"] = exhibit.notes;
        if (!exhibit.skipped.empty()) entry["skipped"] = exhibit.skipped;
        if (!exhibit.failed.empty()) entry["failed"] = exhibit.failed;
        json.push_back(std::move(entry));
    }
    return json;
}

} // namespace miravex::tool
