# cmake -DOUTPUT=FILE -DFILES=FILE;... -P embed_files.cmake
# Writes a C++ source with the files' content: see host/tool/page/site_files.h.
set(type_html "text/html; charset=utf-8")
set(type_css "text/css; charset=utf-8")
set(type_js "text/javascript; charset=utf-8")
set(type_svg "image/svg+xml")

set(arrays "")
set(entries "")
set(count 0)
foreach(file ${FILES})
  cmake_path(GET file FILENAME name)
  cmake_path(GET file EXTENSION LAST_ONLY ending)
  string(REPLACE "." "" ending "${ending}")
  if(NOT DEFINED type_${ending})
    message(FATAL_ERROR "${file}: what type is its content?")
  endif()
  file(READ ${file} octets HEX)
  string(REGEX REPLACE "(..)" "0x\\1," octets "${octets}")
  string(APPEND arrays "const unsigned char kContent${count}[] = {${octets}};\n")
  string(APPEND entries "    {\"${name}\", \"${type_${ending}}\", kContent${count}, sizeof(kContent${count})},\n")
  math(EXPR count "${count} + 1")
endforeach()
file(WRITE ${OUTPUT} "#include \"host/tool/page/site_files.h\"

namespace tool {

namespace {

${arrays}
const SiteFile kFiles[] = {
${entries}};

}  // namespace

const SiteFile* const kSiteFiles = kFiles;
const std::size_t kSiteFileCount = ${count};

}  // namespace tool
")
