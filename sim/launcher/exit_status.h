// Exit statuses of the launcher itself.
#pragma once

namespace zansim {

constexpr int kLauncherFailed = 125;
constexpr int kCommandCannotRun = 126;
constexpr int kCommandNotFound = 127;
constexpr int kSignalBase = 128;  // plus the signal that ended the command

}  // namespace zansim
