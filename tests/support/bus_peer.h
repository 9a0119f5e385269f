#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "cbl/bus/bus_protocol.h"
#include "cbl/net/descriptor.h"
#include "support/frame_encoder.h"

namespace support {

/// One request as the peer decoded it.
struct PeerRequest {
  std::vector<std::string> elements;  ///< element 0 names the remote function
  cbl::BusFrameInfo frame;            ///< identifier, type, time stamp, body
  int connection = 0;                 ///< on which connection it came: 1 the first one accepted
};

/// What the peer does after a request. Converts from the raw bytes of one reply; empty stays silent.
struct PeerAnswer {
  PeerAnswer() = default;
  PeerAnswer(std::string bytes) : pieces{std::move(bytes)} {}
  PeerAnswer(std::vector<std::string> bytes) : pieces(std::move(bytes)) {}
  static PeerAnswer hangUp() {
    PeerAnswer answer;
    answer.close = true;
    return answer;
  }

  std::vector<std::string> pieces;  ///< each is sent when the client has read the one before: one piece, one read
  bool close = false;               ///< close the connection afterwards
};

/// The far end of the bus inside the test's own process: listens on a Unix-domain path and serves every connection from
/// one thread of its own.
///
///   BusPeer peer(dir.file("bus.sock"), [](const PeerRequest& request) -> PeerAnswer {
///     return messageFrame({"0", "12,-3"}, request.frame.identifier);
///   });
///
/// Destroying it closes all connections, removes the path and joins the thread.
class BusPeer {
 public:
  /// Runs on the peer's thread.
  using Answer = std::function<PeerAnswer(const PeerRequest& request)>;

  /// Listens when it returns. Without an answer, requests are recorded and left unanswered. An answer that blocks keeps
  /// the peer from reading on.
  explicit BusPeer(std::string path, Answer answer = nullptr);
  ~BusPeer();
  BusPeer(const BusPeer&) = delete;
  BusPeer& operator=(const BusPeer&) = delete;

  const std::string& path() const { return path_; }

  /// Sends raw bytes on every open connection.
  void send(const std::string& bytes);
  /// Whether the clients have read everything that was sent to them.
  bool allRead() const;
  void closeConnections();

  int accepted() const { return accepted_; }
  std::size_t openConnections() const;
  /// All requests so far, in the order of their arrival.
  std::vector<PeerRequest> requests() const;
  /// Bytes that were no frame where a frame had to start, or frames that were damaged.
  int faults() const { return faults_; }

 private:
  struct Connection {
    int descriptor;
    int number;
    std::string received;
  };

  void run();
  void acceptOne();
  bool readFrom(Connection& connection);
  bool serveRequests(Connection& connection);
  bool sendAnswer(const Connection& connection, const PeerAnswer& answer);

  const std::string path_;
  const Answer answer_;
  cbl::CDescriptor listener_;
  cbl::CDescriptor wakeUp_;
  std::atomic<bool> stopping_{false};
  std::atomic<int> accepted_{0};
  std::atomic<int> faults_{0};

  mutable std::mutex mutex_;  // guards what follows
  std::vector<Connection> connections_;
  std::vector<PeerRequest> requests_;

  std::thread thread_;
};

}  // namespace support
