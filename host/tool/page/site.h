#pragma once

#include "host/tool/page/http_server.h"

namespace tool {

/// Has `server` answer with the page's files, which are part of this program; "/" is index.html.
void addSite(CHttpServer& server);

}  // namespace tool
