#include "HtmlReport.h"

#include <algorithm>
#include <ctime>
#include <span>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "DamageReport.h"
#include "HtmlTemplate.h"
#include "InputFile.h"
#include "OutputFile.h"

namespace {

// Limits that keep a page of a thousand frames far below 20 MB, and one of any number readable.
constexpr std::size_t kMaxArticles = 200;
constexpr std::size_t kMaxFrameRows = 10'000;
constexpr std::size_t kMaxDamageRows = 5'000;
constexpr std::size_t kMaxDamageRowsOfFrame = 500;
constexpr std::size_t kMaxNames = 20; // of the files at the top

std::string counted(std::uint64_t number, std::string const& what) {
    return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
}

Html factTable(std::string const& caption, HtmlReport::Facts const& facts) {
    Html rows;
    for (auto const& [name, value] : facts)
        rows += html("<tr><th scope=\"row\">{}</th><td>{}</td></tr>\n", {name, value});
    return html("<div class=\"scroll\"><table>\n<caption>{}</caption>\n<tbody>\n{}</tbody>\n</table></div>\n",
                {caption, rows});
}

Html headRow(std::initializer_list<const char*> names) {
    Html cells;
    for (const char* name : names)
        cells += html("<th scope=\"col\">{}</th>", {name});
    return html("<thead><tr>{}</tr></thead>\n", {cells});
}

// The colours with the values that they mean, so that the values can be read without them.
Html legendOf(SliceMap const& map) {
    const int numSteps = map.least == map.largest ? 1 : 5;
    Html items;
    for (int i = 0; i < numSteps; ++i) {
        const double place = static_cast<double>(i) / std::max(numSteps - 1, 1);
        const auto [red, green, blue] = sliceColor(place);
        items +=
            html("<li><svg viewBox=\"0 0 1 1\" preserveAspectRatio=\"none\" aria-hidden=\"true\"><rect width=\"1\" "
                 "height=\"1\" fill=\"{}\"/></svg>{}</li>",
                 {fmt::format("#{:02x}{:02x}{:02x}", red, green, blue),
                  fmt::format("{:.1f}", map.least + (map.largest - map.least) * place)});
    }
    return html("<ul class=\"legend\">{}</ul>", {items});
}

Html mapFigure(SliceMap const& map, std::string const& what, std::string const& frameName) {
    if (map.png.empty())
        return {};
    const std::string alternative =
        fmt::format("Map of {} of every slice of {}, from {:.1f} to {:.1f}", what, frameName, map.least, map.largest);
    return html("<figure><img src=\"{}\" alt=\"{}\"><figcaption>Map of {}; failed slices are chequered.{}</figcaption>"
                "</figure>\n",
                {pngAddress(map.png), alternative, what, legendOf(map)});
}

Html thumbnailFigure(FramePictures const& pictures, ReportedFrame const& frame) {
    Html outlines;
    for (const char* kind : {"outer", "inner"})
        for (PixelRectangle const& slice : pictures.damage)
            outlines += html("<rect class=\"{}\" x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\"/>",
                             {kind, slice.x, slice.y, slice.width, slice.height});
    const std::string damage =
        frame.damage.empty() ? "no slice failed" : damageSummary(frame.damage.size(), frame.slices);
    const std::string omitted =
        pictures.omittedDamage == 0 ? "" : fmt::format("; {} more outlines are left out", pictures.omittedDamage);
    return html(
        "<figure><svg class=\"shot\" viewBox=\"0 0 {} {}\" role=\"img\" aria-label=\"{}\"><image width=\"{}\" "
        "height=\"{}\" preserveAspectRatio=\"none\" href=\"{}\"/>{}</svg><figcaption>{}{}</figcaption></figure>\n",
        {pictures.width, pictures.height, fmt::format("Picture of {}: {}", frame.name, damage), pictures.width,
         pictures.height, pngAddress(pictures.thumbnail), outlines,
         frame.damage.empty() ? "The picture; no slice failed" : "The picture, with failed slices outlined", omitted});
}

Html statisticsTable(FramePictures const& pictures) {
    Html rows;
    for (SliceProperty const& property : sliceProperties()) {
        const SliceStatistics statistics = statisticsOf(pictures.slices, property.value);
        // A sum of indices is meaningless.
        const bool hasTotal = property.value != &CodedSlice::quantization_index;
        rows +=
            html("<tr><th scope=\"row\">{}</th><td class=\"n\">{}</td><td class=\"n\">{}</td><td class=\"n\">{}</td>"
                 "<td class=\"n\">{}</td></tr>\n",
                 {property.name, statistics.least, fmt::format("{:.1f}", statistics.median), statistics.largest,
                  hasTotal ? std::to_string(statistics.total) : ""});
    }
    return html("<div class=\"scroll\"><table>\n<caption>Bytes of the parts of a slice, and its quantization_index"
                "</caption>\n{}<tbody>\n{}</tbody>\n</table></div>\n",
                {headRow({"of a slice", "least", "median", "largest", "total"}), rows});
}

Html statusOf(ReportedFrame const& frame) {
    return frame.isBad() ? html("<span class=\"bad\">{}</span>", {frame.status}) : html("{}", {frame.status});
}

std::string summaryOf(ReportedFrame const& frame) {
    std::string text = fmt::format("{} x {} pixels, {} bytes, {}", frame.width, frame.height, frame.bytes,
                                   damageSummary(frame.damage.size(), frame.slices));
    for (std::string const* part : {&frame.note, &frame.hash})
        if (!part->empty())
            text += ", " + *part;
    return text;
}

Html articleOf(ReportedFrame const& frame, std::size_t number, FramePictures const& pictures) {
    return html(
        "<article id=\"frame-{}\">\n<h3><bdi>{}</bdi>: {}</h3>\n<p>{}</p>\n<div class=\"pictures\">\n{}{}{}</div>"
        "\n{}</article>\n",
        {number + 1, frame.name, statusOf(frame), summaryOf(frame), thumbnailFigure(pictures, frame),
         mapFigure(pictures.bytes, "bytes per macroblock", frame.name),
         mapFigure(pictures.index, "quantization_index", frame.name), statisticsTable(pictures)});
}

} // namespace

HtmlReport::HtmlReport(std::string const& subject, std::vector<std::string> const& files, std::string const& numbers,
                       Facts const& wasChecked) {
    std::string names;
    for (std::size_t i = 0; i < std::min(files.size(), kMaxNames); ++i)
        names += (i == 0 ? "" : ", ") + displayName(files[i]);
    if (files.size() > kMaxNames)
        names += fmt::format(" and {} more", files.size() - kMaxNames);
    m_title = files.size() == 1 ? fmt::format("{} of {}", subject, names)
                                : fmt::format("{} of {} files", subject, files.size());
    m_facts = {{"files", names}};
    if (!numbers.empty())
        m_facts.emplace_back("numbers", numbers);
    m_facts.insert(m_facts.end(), wasChecked.begin(), wasChecked.end());
}

bool HtmlReport::wantsPictures(bool isBad) const {
    return m_articles.size() < kMaxArticles || (isBad && std::any_of(m_articles.begin(), m_articles.end(),
                                                                     [](Article const& each) { return !each.isBad; }));
}

void HtmlReport::add(ReportedFrame frame, std::optional<FramePictures> const& pictures) {
    if (pictures) {
        const auto lastGood =
            std::find_if(m_articles.rbegin(), m_articles.rend(), [](Article const& each) { return !each.isBad; });
        if (m_articles.size() == kMaxArticles && lastGood != m_articles.rend())
            m_articles.erase(std::next(lastGood).base());
        m_articles.push_back({m_frames.size(), frame.isBad(), articleOf(frame, m_frames.size(), *pictures)});
    } else if (frame.isBad() && frame.bytes != 0) {
        ++m_omittedArticles;
    }
    const std::size_t kept = std::min({frame.damage.size(), kMaxDamageRowsOfFrame, kMaxDamageRows - m_damageRows});
    m_omittedDamage += frame.damage.size() - kept;
    m_damageRows += kept;
    m_frames.push_back(std::move(frame));
}

bool HtmlReport::hasArticle(std::size_t frame) const {
    const auto found =
        std::lower_bound(m_articles.begin(), m_articles.end(), frame,
                         [](Article const& article, std::size_t number) { return article.frame < number; });
    return found != m_articles.end() && found->frame == frame;
}

Html HtmlReport::linkTo(std::size_t frame) const {
    if (!hasArticle(frame))
        return html("<bdi>{}</bdi>", {m_frames[frame].name});
    return html("<a href=\"#frame-{}\"><bdi>{}</bdi></a>", {frame + 1, m_frames[frame].name});
}

// A bar for each frame that is bad, at its place in the sequence. Neighbours share a bar, which is never too narrow to
// be seen.
Html HtmlReport::strip() const {
    Html bars;
    const std::size_t count = m_frames.size();
    const std::size_t leastWidth = (count + 999) / 1000;
    std::size_t numBad = 0;
    for (std::size_t first = 0; first < count; ++first) {
        if (!m_frames[first].isBad())
            continue;
        std::size_t end = first + 1;
        while (end < count && m_frames[end].isBad())
            ++end;
        numBad += end - first;
        bars += html("<rect x=\"{}\" y=\"0\" width=\"{}\" height=\"1\"><title>{}</title></rect>",
                     {first, std::max(end - first, leastWidth),
                      end - first == 1 ? fmt::format("{}: {}", m_frames[first].name, m_frames[first].status)
                                       : fmt::format("{} to {}", m_frames[first].name, m_frames[end - 1].name)});
        first = end;
    }
    const std::string label = fmt::format("{}, of which {} not ok", counted(count, "frame"), numBad);
    return html(
        "<svg class=\"strip\" viewBox=\"0 0 {} 1\" preserveAspectRatio=\"none\" role=\"img\" aria-label=\"{}\">{}"
        "</svg>\n<p>{}, from left to right. A bar marks those that are not ok; the tables below name them.</p>\n",
        {count, label, bars, label});
}

Html HtmlReport::frameTable() const {
    const bool listsAll = m_frames.size() <= kMaxFrameRows;
    Html rows;
    std::size_t numRows = 0;
    for (std::size_t i = 0; i < m_frames.size() && numRows < kMaxFrameRows; ++i) {
        ReportedFrame const& frame = m_frames[i];
        if (!listsAll && !frame.isBad())
            continue;
        ++numRows;
        rows +=
            html("<tr><td class=\"n\">{}</td><th scope=\"row\">{}</th><td>{}</td><td class=\"n\">{}</td><td "
                 "class=\"n\">{}</td><td class=\"n\">{}</td><td class=\"n\">{}</td><td class=\"n\">{}</td><td>{}</td>"
                 "<td>{}</td></tr>\n",
                 {i + 1, linkTo(i), statusOf(frame), frame.width, frame.height, frame.bytes, frame.slices,
                  frame.damage.size(), frame.hash, frame.note});
    }
    const std::string caption =
        listsAll ? "Every frame" : fmt::format("{} of {} frames: those that are not ok", numRows, m_frames.size());
    return html(
        "<h2>Frames</h2>\n<div class=\"scroll\"><table class=\"sortable\">\n<caption>{}</caption>\n{}<tbody>\n{}"
        "</tbody>\n</table></div>\n",
        {caption,
         headRow({"number", "frame", "status", "width", "height", "bytes", "slices", "failed", "hash", "note"}), rows});
}

Html HtmlReport::damageTable() const {
    if (m_damageRows == 0)
        return html("<h2>Damage</h2>\n<p>No slice failed.</p>\n");
    Html rows;
    std::size_t room = kMaxDamageRows;
    for (std::size_t i = 0; i < m_frames.size(); ++i) {
        const std::size_t kept = std::min({m_frames[i].damage.size(), kMaxDamageRowsOfFrame, room});
        room -= kept;
        for (std::size_t j = 0; j < kept; ++j) {
            ravelo_damage const& slice = m_frames[i].damage[j];
            rows += html(
                "<tr><th scope=\"row\">{}</th><td class=\"n\">{}</td><td class=\"n\">{}</td><td class=\"n\">{}</td>"
                "<td>{}</td><td class=\"n\">{}</td><td class=\"n\">{}</td><td class=\"n\">{}</td><td "
                "class=\"n\">{}</td><td class=\"n\">{}</td></tr>\n",
                {linkTo(i), slice.picture + 1, slice.row, slice.column, componentName(slice), slice.x, slice.y,
                 slice.width, slice.height, slice.byte_offset});
        }
    }
    const std::string omitted =
        m_omittedDamage == 0 ? "" : fmt::format("; {} more are left out, which --json lists", m_omittedDamage);
    return html(
        "<h2>Damage</h2>\n<div class=\"scroll\"><table class=\"sortable\">\n<caption>{}{}</caption>\n{}<tbody>\n{}"
        "</tbody>\n</table></div>\n",
        {m_damageRows == 1 ? "The slice that failed" : fmt::format("{} slices that failed", m_damageRows), omitted,
         headRow({"frame", "picture", "row", "slice", "component", "x", "y", "width", "height", "from byte"}), rows});
}

std::string HtmlReport::page(Facts const& totals) const {
    Facts facts = m_facts;
    facts.emplace_back("made", fmt::format("{:%Y-%m-%d %H:%M:%S} UTC by ravelo {}", fmt::gmtime(std::time(nullptr)),
                                           RAVELO_COMMAND_VERSION));
    Html content = html("<h1>{}</h1>\n", {m_title});
    content += factTable("What was checked", facts);
    content += factTable("Totals", totals);
    content += html("<h2>Sequence</h2>\n");
    content += strip();
    if (!m_articles.empty())
        content += html("<h2>Pictures</h2>\n");
    for (Article const& article : m_articles)
        content += article.html;
    if (m_omittedArticles != 0)
        content += html("<p>{} not ok without pictures here; the tables list them.</p>\n",
                        {counted(m_omittedArticles, "more frame") + (m_omittedArticles == 1 ? " is" : " are")});
    content += damageTable();
    content += frameTable();
    return html(kHtmlPage,
                {kHtmlScriptHash, m_title, Html{std::string(kHtmlStyle)}, content, Html{std::string(kHtmlScript)}})
        .text;
}

void HtmlReport::write(std::string const& path, bool overwrite, Facts const& totals) const {
    const std::string text = page(totals);
    writeFile(path, overwrite, std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}
