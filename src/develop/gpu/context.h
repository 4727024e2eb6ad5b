// Finding an OpenGL context that development can run on.
#pragma once

#include <memory>
#include <vector>

#include "base/message.h"
#include "develop/gpu/gl_functions.h"
#include "platform/event.h"

namespace qx {

/// Where a context can be tried: a monitor's top-left corner with WGL; (device number, 0) with EGL.
struct GlPlace {
  int x = 0, y = 0;
  bool operator==(const GlPlace&) const = default;
};

/// A context to ask for by version.
struct ContextAttempt {
  const char* name;
  int major, minor;
  int profileMask;  // 1 core, 2 compatibility
};

/// The system's way to a context: the driver below the search. It holds at most one place open, there a legacy context (one that was asked
/// for without a version), and beside it one attempt. Used by one thread; destroying it ends the context.
class GlDriver {
 public:
  virtual ~GlDriver() = default;
  /// All places in the system's order.
  virtual std::vector<GlPlace> Places() = 0;
  /// Makes what a context needs at `place`. False when the place has no hardware that can draw; nothing is left open.
  virtual bool OpenPlace(GlPlace place) = 0;
  /// Deletes the contexts and what the place needed.
  virtual void ClosePlace() = 0;
  /// Creates the legacy context and makes it current.
  virtual bool CreateLegacy() = 0;
  /// Contexts of a wanted version can be asked for.
  virtual bool CanCreateAttempts() = 0;
  /// Creates the context and makes it current; false leaves the legacy one current.
  virtual bool CreateAttempt(const ContextAttempt& attempt) = 0;
  /// Deletes the legacy context; the attempt stays current.
  virtual void KeepAttempt() = 0;
  /// Makes the legacy context current again and deletes the attempt.
  virtual void DropAttempt() = 0;
  virtual bool HasCurrentContext() = 0;
  /// The driver's function of that name.
  virtual GlFunction Function(const char* name) = 0;
  /// Waits for the event, at most `milliseconds` (negative: without limit), dispatching the messages of the window if there is one.
  virtual void Wait(Event& event, int milliseconds) { event.WaitFor(milliseconds); }
  /// Dispatches the window's pending messages.
  virtual void DispatchMessages() {}
};

/// Makes a context of version 4.3 or later current on the calling thread where the driver gives one, else its legacy context: 0 and
/// "renderer | version", or -1 with "no hardware OpenGL context". Logs each step. Renderers without hardware are refused.
[[nodiscard]] int CreateGpuContext(GlDriver& driver, Message description);

/// Loads the functions of the context that is current: 0 and "renderer | version", or -1 with a message.
[[nodiscard]] int UseCurrentContext(GlDriver& driver, Message description);

/// The driver of this system. Never null; a machine without OpenGL has no place to open.
///
/// Natively EGL without a display: the devices of EGL_EXT_device_enumeration, hardware first, else Mesa's surfaceless platform. libEGL is
/// loaded at run time. On Windows WGL with a hidden window on the monitor tried. Software renderers are slower than the processor path and
/// are refused, unless QORIX_IMPORT_GPU is "software".
std::unique_ptr<GlDriver> CreateSystemGlDriver();

}  // namespace qx
