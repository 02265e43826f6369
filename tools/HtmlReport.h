#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "FramePictures.h"
#include "Html.h"
#include "ravelo.h"

// What a page says of one frame.
struct ReportedFrame {
    std::string name;
    std::string status; // "ok" or what is wrong
    std::string note;   // an error, or what the structure of the frame shows
    std::string hash;
    std::uint64_t bytes = 0; // 0 for a frame that could not be read
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint64_t slices = 0;
    std::vector<ravelo_damage> damage;

    bool isBad() const { return status != "ok"; }
};

// A page about a frame or a sequence that needs nothing else: no network, no files, no script. Everything that comes
// from frames and file names is escaped.
class HtmlReport {
public:
    using Facts = std::vector<std::pair<std::string, std::string>>;

    // A page about `subject` of the files of a command line, with their list of numbers or an empty text. `wasChecked`
    // says what was checked, in names and values.
    HtmlReport(std::string const& subject, std::vector<std::string> const& files, std::string const& numbers,
               Facts const& wasChecked);

    // Whether add() has room for pictures of a further frame. Those of a frame that is bad replace others.
    bool wantsPictures(bool isBad) const;

    // Frames are added in their order.
    void add(ReportedFrame frame, std::optional<FramePictures> const& pictures);

    // `totals` are the numbers of the whole, in names and values.
    std::string page(Facts const& totals) const;
    void write(std::string const& path, bool overwrite, Facts const& totals) const;

private:
    struct Article {
        std::size_t frame;
        bool isBad;
        Html html;
    };

    Html strip() const;
    Html frameTable() const;
    Html damageTable() const;
    bool hasArticle(std::size_t frame) const;
    Html linkTo(std::size_t frame) const;

    std::string m_title;
    Facts m_facts;
    std::vector<ReportedFrame> m_frames;
    std::vector<Article> m_articles;
    std::size_t m_omittedArticles = 0; // frames that are bad and have no pictures
    std::size_t m_damageRows = 0;      // that are kept
    std::size_t m_omittedDamage = 0;
};
