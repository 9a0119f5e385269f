#include "bench/redis_peer.h"

#include <unistd.h>

#include <stdexcept>
#include <string>

#include "bench/exchange.h"
#include "tests/support/poll.h"

namespace bench {

namespace {

// The server's program as the tools' package has it, which starts no service; its name says how it is to behave.
constexpr const char* kProgram = "/usr/bin/redis-check-rdb";
constexpr const char* kName = "redis-server";

using Reply = std::unique_ptr<redisReply, decltype(&freeReplyObject)>;

Reply toReply(void* reply) {
  return {static_cast<redisReply*>(reply), freeReplyObject};
}

bool holdsWords(const redisReply* reply) {
  return reply != nullptr && reply->type == REDIS_REPLY_STRING &&
         std::string_view(reply->str, reply->len) == kRealWords;
}

void require(bool isAsExpected) {
  if (!isAsExpected) throw std::runtime_error("redis-server does not answer as expected");
}

}  // namespace

CRedisPeer::CRedisPeer() {
  const std::string socket = directory_.file("redis.sock");
  server_ = std::make_unique<CChildProcess>([&] {
    execl(kProgram, kName, "--port", "0", "--unixsocket", socket.c_str(), "--dir", directory_.path().c_str(), "--save",
          "", "--appendonly", "no", "--logfile", "redis.log", nullptr);
  });
  support::waitUntil([&] {
    context_.reset(redisConnectUnix(socket.c_str()));
    return context_ && context_->err == 0;
  });
  require(context_ && context_->err == 0);
  for (int key = 1; key <= kBatchSize; ++key) {
    require(toReply(redisCommand(context_.get(), "SET %d %s", key, kRealWords)) != nullptr);
  }
}

void CRedisPeer::get() {
  require(holdsWords(toReply(redisCommand(context_.get(), "GET 1")).get()));
}

void CRedisPeer::getBatch() {
  const Reply reply = toReply(redisCommand(context_.get(), "MGET 1 2 3 4 5 6 7 8 9 10 11"));
  require(reply && reply->elements == kBatchSize && holdsWords(reply->element[kBatchSize - 1]));
}

}  // namespace bench
