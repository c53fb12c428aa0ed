#include "host/answers/report_page.hpp"

#include "host/answers/page_template.hpp"
#include "host/system/json.hpp"

#include <algorithm>
#include <array>

namespace saddlefit::host {

namespace {

constexpr std::string_view titleMark = "{{title}}", answersMark = "{{answers}}";

std::string replaced(std::string_view text, std::string_view mark, std::string_view by) {
    std::string result;
    for (auto at = text.find(mark); at != std::string_view::npos; at = text.find(mark)) {
        result.append(text.substr(0, at)).append(by);
        text.remove_prefix(at + mark.size());
    }
    return result.append(text);
}

std::string asHtml(const std::string &text) {
    auto html = replaced(inUtf8(text), "&", "&amp;");
    html = replaced(html, "<", "&lt;");
    return replaced(html, ">", "&gt;");
}

/// "<" stands in strings only, where it may be written so: nothing in them ends the script then.
std::string withoutMarkup(std::string_view jsonLines) {
    return replaced(jsonLines, "<", "\\u003c");
}

bool isAnswer(const Json &object) {
    constexpr std::array members{"outcome", "changes", "atoms", "bonds", "frozen", "search"};
    return std::all_of(members.begin(), members.end(),
                       [&](const char *name) { return object.contains(name); });
}

} // namespace

std::string reportPage(const std::string &title, std::string_view jsonLines) {
    const auto at = pageTemplate.find(answersMark);
    auto page = replaced(pageTemplate.substr(0, at), titleMark, asHtml(title));
    page += withoutMarkup(jsonLines);
    if (!page.ends_with('\n')) page += '\n';
    return page.append(pageTemplate.substr(at + answersMark.size()));
}

std::string complaintAboutJsonLine(std::string_view line) {
    const auto object = Json::parse(line, nullptr, false);
    if (!object.is_object()) return "is no JSON object";
    if (!object.contains("record") || !object.contains("title")) {
        return "has no member \"record\" or \"title\"";
    }
    return object.contains("error") || isAnswer(object) ? "" : "is no answer to a reaction";
}

} // namespace saddlefit::host
