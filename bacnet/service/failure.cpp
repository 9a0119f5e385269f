#include "bacnet/service/failure.h"

#include "bacnet/service/property_value.h"

namespace bacnet {
namespace {

FailedWrite readFailedWrite(CReader& in) {
  FailedWrite failed;
  in.open(1);
  failed.object = in.contextObject(0);
  failed.reference = in.reference(1);
  in.close(1);
  return failed;
}

}  // namespace

std::optional<ErrorReply> parseError(ConfirmedService service, std::string_view data) {
  CReader in(data);
  ErrorReply reply;
  if (in.comes(Tag::Kind::kOpening, 0)) {
    in.open(0);
    reply.error = readError(in);
    in.close(0);
    if (service == ConfirmedService::kWritePropertyMultiple) {
      reply.failedWrite = readFailedWrite(in);
    } else {
      in.values();
    }
  } else {
    reply.error = readError(in);
  }
  if (!in.finished()) return std::nullopt;
  return reply;
}

std::string encodeError(ConfirmedService service, const ErrorReply& reply) {
  CWriter out;
  if (service != ConfirmedService::kWritePropertyMultiple || !reply.failedWrite) {
    writeError(out, reply.error);
    return out.take();
  }
  out.open(0);
  writeError(out, reply.error);
  out.close(0);
  out.open(1);
  out.contextObject(0, reply.failedWrite->object);
  out.reference(1, reply.failedWrite->reference);
  out.close(1);
  return out.take();
}

}  // namespace bacnet
