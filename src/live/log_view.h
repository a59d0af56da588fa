// The view of a recorded day: where its cursor stands and what the keys do.
#pragma once

#include "live/keys.h"
#include "live/layout.h"
#include "live/log_data.h"
#include "live/settings.h"
#include "live/view.h"

#include <string>

namespace zanctl::live {

struct LogView {
  Settings settings;
  std::size_t moment = 0;
  bool follows = true;  // the cursor stays at the end while the file grows
  std::size_t gpu = 0;  // place of the chosen one
  std::size_t gpuTop = 0;
  bool help = false;
  int helpTop = 0;
  bool asksTime = false;
  std::string input;
  std::string note;
};

// Keeps the cursor and the choice within what there is.
void settle(LogView& view, const LogData& data, const LogLayout& layout);
Request press(LogView& view, const KeyPress& key, const LogData& data, const LogLayout& layout);

std::string timeText(TimeOfDay time);  // "HH:MM:SS"
std::string_view logSeriesName(LogSeries series);

struct LogCircumstances {
  std::string file;
  GraphKind graph = GraphKind::ascii;
  bool onPaper = false;
};
void drawLog(Surface& surface, const LogData& data, const LogView& view, const LogLayout& layout,
             const LogCircumstances& circumstances);

}  // namespace zanctl::live
