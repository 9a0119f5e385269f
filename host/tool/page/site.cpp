#include "host/tool/page/site.h"

#include <algorithm>
#include <string>

#include "host/tool/page/site_files.h"

namespace tool {

void addSite(CHttpServer& server) {
  server.Get("/([a-z0-9_.]*)", [](const httplib::Request& request, httplib::Response& response) {
    const std::string name = request.matches[1].length() == 0 ? "index.html" : request.matches[1].str();
    const SiteFile* const end = kSiteFiles + kSiteFileCount;
    const SiteFile* const file = std::find_if(kSiteFiles, end, [&](const SiteFile& each) { return each.name == name; });
    if (file == end) return setError(response, 404, "there is nothing of this name");
    response.set_content(reinterpret_cast<const char*>(file->content), file->size, file->type);
  });
}

}  // namespace tool
