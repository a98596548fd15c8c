// The screen's scale factor (device pixels per point), which picks the preview image size a
// chat message shows: a host hook with a documented default.
#pragma once

#include <memory>

namespace dm {

// Implementations must be callable from any thread.
class ScreenScale {
 public:
  // Used until the host tells its own: double density, the size every server sends.
  static constexpr double kDefaultScale = 2.0;

  virtual ~ScreenScale() = default;
  // Device pixels per point; positive.
  virtual double scale() const = 0;
  // The scale as a whole number, as image keys name it ("video_preview_2x"): truncated, at
  // least 1.
  int wholeScale() const;

  // The process-wide screen scale (kDefaultScale unless the host installed one). Any thread.
  static std::shared_ptr<ScreenScale> shared();
  // Replaces the process-wide scale; nullptr restores the default.
  static void setShared(std::shared_ptr<ScreenScale> scale);
};

// A scale fixed at construction.
class FixedScreenScale final : public ScreenScale {
 public:
  // Throws Error InvalidInput for a scale that is not a positive finite number.
  explicit FixedScreenScale(double scale = kDefaultScale);
  double scale() const override { return scale_; }

 private:
  double scale_;
};

}  // namespace dm
