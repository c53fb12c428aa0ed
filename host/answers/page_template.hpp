/// The page of reports, as the build puts it together from the files in page/.
#pragma once

#include <string_view>

namespace saddlefit::host {

/// With `{{title}}` and `{{answers}}` in the places of what a report is about.
extern const std::string_view pageTemplate;

} // namespace saddlefit::host
