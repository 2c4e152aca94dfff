// SPDX-License-Identifier: MIT
#include "ui/Guide.h"

#include "framework/Application.h"

#include <map>

namespace velmora {
namespace {

constexpr const char* kVendorSite = "https://velmora.example";

// Relative to the program's folder, both in an installation and in a build.
constexpr const char* kGuideFolder = "/../share/doc/velmora/guide/";

} // namespace

framework::String VendorPage(const std::string& path)
{
    return kVendorSite + path;
}

void UseInstalledGuide()
{
    const std::string folder = framework::ProgramFolder().Bytes() + kGuideFolder;
    std::map<std::string, std::string> pages;
    for (const auto& [page, file] :
         {std::pair{"/velmora/", "site.html"}, std::pair{"/velmora/support.php", "support.html"},
          std::pair{"/velmora/Help-pro/index.html", "index.html"}})
        pages[VendorPage(page).Bytes()] = folder + file;
    framework::SetLocalPages(std::move(pages));
}

} // namespace velmora
