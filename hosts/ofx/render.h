#ifndef VELTRANE_HOSTS_OFX_RENDER_H
#define VELTRANE_HOSTS_OFX_RENDER_H

#include <optional>

#include "hosts/ofx/image.h"
#include "settings/screen_color.h"
#include "settings/tune/tune.h"

namespace veltrane::ofx {

/// Keys the source's frame at a time into the window of the output, in that time's settings with
/// radii at the output's scale, with the mattes and the clean plate that are connected. What the
/// source does not cover becomes transparent black, all of it where the source has no image. The
/// output is straight or premultiplied as its image declares; one that declares itself opaque
/// follows DeliveredAlpha. Throws Refusal when there is no output, the window leaves it, depths or
/// scales differ, or the host asks to stop.
void Render(Effect effect, double time, const RectI& window);

/// The alpha state of the output for a source of this state: straight frames stay straight, all
/// others come out premultiplied, ready to be laid over something.
AlphaState DeliveredAlpha(AlphaState source);

/// The screen's colour in the source's frame at a time, or nothing when no screen is seen there.
/// Throws Refusal when the source has no image.
std::optional<ScreenColor> FindScreen(Effect effect, double time);

/// The sliders that suit the source's frame at a time, against the clean plate that is connected,
/// with the key colour at that time unless it is black; all other values are those of the time.
/// Throws Refusal when the source has no image.
TunedSettings FindSettings(Effect effect, double time);

}  // namespace veltrane::ofx

#endif
