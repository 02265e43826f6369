#pragma once

#include <string_view>

// The fixed parts of a report page. The page takes nothing from elsewhere, and its policy allows this script alone, by
// its hash.
extern const std::string_view kHtmlStyle;
extern const std::string_view kHtmlScript;

// The whole page: the policy's hash, language, title, style, content, script.
extern const std::string_view kHtmlPage;

// base64 of the SHA-256 of kHtmlScript.
extern const std::string_view kHtmlScriptHash;
