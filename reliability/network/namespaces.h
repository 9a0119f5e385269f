#pragma once

#include <functional>
#include <string>

namespace reliability {

/// Gives this process a network, mounts and, for its children, process numbers of its own; with user namespaces where
/// it is not root. To be called before it has threads. Result: what does not work, empty if all does.
std::string leaveMachine();

/// What a child of a process that has left the machine needs besides: its own /proc, and `directory` empty.
std::string settleIn(const std::string& directory);

/// A network without anything in it. Result: its descriptor, which keeps it; -1 with errno.
int makeNetwork();
/// Does something in a network; processes that it starts stay there.
void inNetwork(int network, const std::function<void()>& act);
/// The path that `ip` takes for it.
std::string networkPath(int network);
/// A socket for whole frames at an interface of this network, without those that it sends itself. -1 with errno.
int openFrames(const std::string& interface);

/// Runs a command line of the shell; throws std::runtime_error with it when it fails.
void shell(const std::string& line);

}  // namespace reliability
