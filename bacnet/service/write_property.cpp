#include "bacnet/service/property_value.h"

namespace bacnet {
namespace {

WriteAccess writeAccess(CReader& in) {
  WriteAccess access;
  access.object = in.contextObject(0);
  in.open(1);
  while (in.hasMoreBefore(1)) access.writes.push_back(readPropertyValue(in));
  return access;
}

}  // namespace

std::string encode(const WritePropertyRequest& request) {
  CWriter out;
  out.contextObject(0, request.object);
  out.reference(1, request.reference);
  out.valuesInside(3, request.values);
  if (request.priority) out.contextUnsigned(4, *request.priority);
  return out.take();
}

std::string encode(const WritePropertyMultipleRequest& request) {
  CWriter out;
  for (const WriteAccess& access : request) {
    out.contextObject(0, access.object);
    out.open(1);
    for (const PropertyWrite& write : access.writes) writePropertyValue(out, write);
    out.close(1);
  }
  return out.take();
}

std::optional<WritePropertyRequest> parseWriteProperty(std::string_view data) {
  CReader in(data);
  WritePropertyRequest request;
  request.object = in.contextObject(0);
  request.reference = in.reference(1);
  request.values = in.valuesInside(3);
  request.priority = readPriority(in, 4);
  if (!in.finished()) return std::nullopt;
  return request;
}

std::optional<WritePropertyMultipleRequest> parseWritePropertyMultiple(std::string_view data) {
  CReader in(data);
  WritePropertyMultipleRequest request;
  do request.push_back(writeAccess(in));
  while (!in.atEnd());
  if (!in.finished()) return std::nullopt;
  return request;
}

}  // namespace bacnet
