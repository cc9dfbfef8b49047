#include "korvo/plots.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "korvo/html.h"
#include "korvo/text.h"

namespace korvo {
namespace {

constexpr double kWidth = 440;
constexpr double kHeight = 240;
constexpr double kLeft = 64;
constexpr double kRight = 10;
constexpr double kTop = 10;
constexpr double kBottom = 30;
constexpr double kPlotWidth = kWidth - kLeft - kRight;
constexpr double kPlotHeight = kHeight - kTop - kBottom;

std::string Number(double number) {
  std::array<char, 32> text = {};
  static_cast<void>(std::snprintf(text.data(), text.size(), "%.1f", number));
  return text.data();
}

// The vertical axis: its unit, and steps of 1, 2 or 5 times a power of ten of that unit.
struct Scale {
  explicit Scale(double largest) {
    constexpr double kKilo = 1024;
    constexpr double kMostSteps = 5;
    std::size_t number = 0;
    while (largest / unit >= kKilo) {
      unit *= kKilo;
      ++number;
    }
    name = store::kSizeUnits.at(number);
    for (double power = number == 0 ? 1 : 0.1; step == 0; power *= 10) {
      for (const double times : {5.0, 2.0, 1.0}) {
        step = times * power * unit * kMostSteps >= largest ? times * power * unit : step;
      }
    }
    top = step * std::max(1.0, std::ceil(largest / step));
  }
  [[nodiscard]] std::string Label(double size) const {
    std::array<char, 32> text = {};
    static_cast<void>(std::snprintf(text.data(), text.size(), "%.4g ", size / unit));
    return size == 0 ? "0" : text.data() + std::string(name);
  }

  double unit = 1;
  const char* name = "";
  double step = 0;
  double top = 0;
};

class Plot {
 public:
  Plot(const DailySizes& sizes, std::uint64_t largest)
      : sizes_(sizes), scale_(std::max<double>(static_cast<double>(largest), 1)) {
    DrawSizes();
    DrawDays();
  }

  [[nodiscard]] double X(double day) const {
    return kLeft + day * kPlotWidth / static_cast<double>(sizes_.repository.size());
  }
  [[nodiscard]] double Y(double size) const { return kTop + kPlotHeight * (1 - size / scale_.top); }
  [[nodiscard]] double Y(std::uint64_t size) const { return Y(static_cast<double>(size)); }

  // A bar from one point in time to another, both in days from the left edge.
  void Bar(double from, double to, std::uint64_t size, const std::string& style, const std::string& words) {
    // Whatever is above 0 can be seen.
    const double height = size == 0 ? 0 : std::max(kTop + kPlotHeight - Y(size), 1.0);
    text_ += "<rect class=\"" + style + "\" x=\"" + Number(X(from)) + "\" y=\"" +
             Number(kTop + kPlotHeight - height) + "\" width=\"" + Number(X(to) - X(from)) + "\" height=\"" +
             Number(height) + "\"><title>" + words + "</title></rect>\n";
  }

  void Area(const std::vector<std::uint64_t>& values) {
    std::string line;
    for (std::size_t day = 0; day < values.size(); ++day) {
      line += Number(X(static_cast<double>(day) + 0.5)) + "," + Number(Y(values[day])) + " ";
    }
    const std::string ground = Number(kTop + kPlotHeight);
    const double last = static_cast<double>(values.size()) - 0.5;
    text_ += "<polygon class=\"area\" points=\"" + Number(X(0.5)) + "," + ground + " " + line +
             Number(X(last)) + "," + ground + "\"/>\n<polyline class=\"line\" points=\"" + line + "\"/>\n";
  }

  std::string End(const std::string& title) {
    return "<svg class=\"plot\" viewBox=\"0 0 " + Number(kWidth) + " " + Number(kHeight) +
           "\" role=\"img\" aria-label=\"" + title + "\">\n" + text_ + "</svg>\n";
  }

 private:
  void DrawSizes() {
    const int steps = static_cast<int>(std::lround(scale_.top / scale_.step));
    for (int number = 0; number <= steps; ++number) {
      const double size = number * scale_.step;
      const double y = Y(size);
      text_ += "<line class=\"grid\" x1=\"" + Number(kLeft) + "\" x2=\"" + Number(kWidth - kRight) +
               "\" y1=\"" + Number(y) + "\" y2=\"" + Number(y) +
               "\"/><text class=\"label\" text-anchor=\"end\" x=\"" + Number(kLeft - 8) + "\" y=\"" +
               Number(y + 4) + "\">" + scale_.Label(size) + "</text>\n";
    }
  }

  void DrawDays() {
    constexpr std::size_t kEvery = 30;
    const std::size_t days = sizes_.repository.size();
    for (std::size_t day = days % kEvery == 0 ? 0 : days % kEvery; day <= days; day += kEvery) {
      const std::size_t shown = std::min(day, days - 1);
      const char* anchor = day == 0 ? "start" : day == days ? "end" : "middle";
      text_ += "<text class=\"label\" text-anchor=\"" + std::string(anchor) + "\" x=\"" +
               Number(X(static_cast<double>(day))) + "\" y=\"" + Number(kHeight - 10) + "\">" +
               DayText(sizes_.firstDay + static_cast<long>(shown), DayForm::kShort) + "</text>\n";
    }
  }

  const DailySizes& sizes_;
  Scale scale_;
  std::string text_;
};

std::uint64_t Largest(const std::vector<std::uint64_t>& values) {
  return values.empty() ? 0 : *std::max_element(values.begin(), values.end());
}

std::string DayOfPlot(const DailySizes& sizes, std::size_t day) {
  return DayText(sizes.firstDay + static_cast<long>(day), DayForm::kWhole);
}

}  // namespace

DailySizes SizesByDay(const Facts& facts) {
  DailySizes sizes;
  const long today = DayOf(facts.now);
  sizes.firstDay = today - kReportDays + 1;
  sizes.files.resize(kReportDays);
  sizes.added.resize(kReportDays);
  std::uint64_t stored = facts.otherBytes;
  for (const Backup& backup : facts.backups) {
    // If the clock was put back, a backup can have a later day than today. It counts for today.
    const long day = std::min(DayOf(backup.saveset.created), today) - sizes.firstDay;
    if (day < 0) {
      stored += backup.added;
      continue;
    }
    sizes.files[static_cast<std::size_t>(day)] += static_cast<std::uint64_t>(backup.saveset.bytes);
    sizes.added[static_cast<std::size_t>(day)] += backup.added;
  }
  for (const std::uint64_t added : sizes.added) {
    stored += added;
    sizes.repository.push_back(stored);
  }
  return sizes;
}

std::string GrowthPicture(const DailySizes& sizes) {
  Plot plot(sizes, Largest(sizes.repository));
  plot.Area(sizes.repository);
  return plot.End("Size of the repository on each of the last days");
}

std::string SavingPicture(const DailySizes& sizes) {
  Plot plot(sizes, Largest(sizes.files));
  for (std::size_t day = 0; day < sizes.files.size(); ++day) {
    if (sizes.files[day] + sizes.added[day] == 0) {
      continue;
    }
    const auto begin = static_cast<double>(day);
    const std::string words = DayOfPlot(sizes, day) + ": " + SizeText(sizes.files[day]) + " of files, " +
                              SizeText(sizes.added[day]) + " added";
    plot.Bar(begin + 0.1, begin + 0.9, sizes.files[day], "files", words);
    plot.Bar(begin + 0.1, begin + 0.9, sizes.added[day], "added", words);
  }
  return plot.End("Each day's backups: the size of their files, and what they added to the repository");
}

}  // namespace korvo
