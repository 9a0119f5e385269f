#include "bacnet/service/property_value.h"

namespace bacnet {
namespace {

ReadAccess readAccess(CReader& in) {
  ReadAccess access;
  access.object = in.contextObject(0);
  in.open(1);
  while (in.hasMoreBefore(1)) access.references.push_back(in.reference(0));
  return access;
}

ReadResult readResult(CReader& in) {
  ReadResult result;
  result.reference = in.reference(2);
  if (in.comes(Tag::Kind::kOpening, 5)) {
    in.open(5);
    result.result = readError(in);
    in.close(5);
  } else {
    result.result = in.valuesInside(4);
  }
  return result;
}

ReadAccessResult readAccessResult(CReader& in) {
  ReadAccessResult access;
  access.object = in.contextObject(0);
  in.open(1);
  while (in.hasMoreBefore(1)) access.results.push_back(readResult(in));
  return access;
}

void writeResult(CWriter& out, const ReadResult& result) {
  out.reference(2, result.reference);
  if (const auto* values = std::get_if<Values>(&result.result)) {
    out.valuesInside(4, *values);
    return;
  }
  out.open(5);
  writeError(out, std::get<Error>(result.result));
  out.close(5);
}

}  // namespace

std::string encode(const ReadPropertyRequest& request) {
  CWriter out;
  out.contextObject(0, request.object);
  out.reference(1, request.reference);
  return out.take();
}

std::string encode(const ReadPropertyAck& ack) {
  CWriter out;
  out.contextObject(0, ack.object);
  out.reference(1, ack.reference);
  out.valuesInside(3, ack.values);
  return out.take();
}

std::string encode(const ReadPropertyMultipleRequest& request) {
  CWriter out;
  for (const ReadAccess& access : request) {
    out.contextObject(0, access.object);
    out.open(1);
    for (const PropertyReference& reference : access.references) out.reference(0, reference);
    out.close(1);
  }
  return out.take();
}

std::string encode(const ReadPropertyMultipleAck& ack) {
  CWriter out;
  for (const ReadAccessResult& access : ack) {
    out.contextObject(0, access.object);
    out.open(1);
    for (const ReadResult& result : access.results) writeResult(out, result);
    out.close(1);
  }
  return out.take();
}

std::optional<ReadPropertyRequest> parseReadProperty(std::string_view data) {
  CReader in(data);
  ReadPropertyRequest request;
  request.object = in.contextObject(0);
  request.reference = in.reference(1);
  if (!in.finished()) return std::nullopt;
  return request;
}

std::optional<ReadPropertyAck> parseReadPropertyAck(std::string_view data) {
  CReader in(data);
  ReadPropertyAck ack;
  ack.object = in.contextObject(0);
  ack.reference = in.reference(1);
  ack.values = in.valuesInside(3);
  if (!in.finished()) return std::nullopt;
  return ack;
}

std::optional<ReadPropertyMultipleRequest> parseReadPropertyMultiple(std::string_view data) {
  CReader in(data);
  ReadPropertyMultipleRequest request;
  do request.push_back(readAccess(in));
  while (!in.atEnd());
  if (!in.finished()) return std::nullopt;
  return request;
}

std::optional<ReadPropertyMultipleAck> parseReadPropertyMultipleAck(std::string_view data) {
  CReader in(data);
  ReadPropertyMultipleAck ack;
  do ack.push_back(readAccessResult(in));
  while (!in.atEnd());
  if (!in.finished()) return std::nullopt;
  return ack;
}

}  // namespace bacnet
