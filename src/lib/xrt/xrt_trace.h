#ifndef XRT_TRACE_H
#define XRT_TRACE_H

#include <array>
#include <cstdio>
#include <initializer_list>
#include <mutex>
#include <string>
#include <string_view>

/// Levels of a trace message and of the trace.
enum XRTTraceLevel : int {
  XRTTRC_NONE = 0,
  XRTTRC_MINIMUM = 1,
  XRTTRC_BASIC = 2,
  XRTTRC_MOST = 3,
  XRTTRC_ALL = 4,
};

/// Components by index. allComponents and noComponents stand for them in the enable and disable operations.
namespace xrt_component {
inline constexpr int allComponents = -2;
inline constexpr int noComponents = -1;
inline constexpr int util = 0;
inline constexpr int kernel = 3;
inline constexpr int count = 13;
}  // namespace xrt_component

/// The environment variables of the switches. They have no names in this system, so that nothing sets a switch from the
/// environment.
struct XRTSwitchVariables {
  const char* append = "";
  const char* flush = "";
  const char* timestamps = "";
  const char* sourceLines = "";
};

/// The trace facility: a filter by component and level in front of standard output.
///
/// Three environment variables set the level, the components and the file name, and what they set no call can change. A
/// variable without a name sets nothing.
/// The facility starts with its first message or warning. No file is opened: its name is kept and printed only.
/// The setters return 0, or -2 when they are refused; their notes and warnings appear from level 1 on.
/// One recursive lock guards the record; every operation takes it.
class XRTTrace {
 public:
  explicit XRTTrace(const char* fileVariable = "XRT_TRACEFILE", const char* levelVariable = "XRT_TRACELEVEL",
                    const char* componentVariable = "XRT_TRACECOMP", const XRTSwitchVariables& switchVariables = {});

  /// The trace of the process, made on first use and never destroyed.
  static XRTTrace& instance();

  /// Prints a message if its level and the component index pass. Whether the component is enabled is for the caller to
  /// ask. The pieces are printed in turn; nothing is allocated.
  void message(int component, std::string_view text, int messageLevel) {
    message(component, std::initializer_list<std::string_view>{text}, messageLevel);
  }
  void message(int component, std::initializer_list<std::string_view> pieces, int messageLevel);

  int setTraceFile(const std::string& name);
  int setLevel(int level);
  int enableComponent(int component);
  int disableComponent(int component);
  int isComponentEnabled(int component);
  int setFlush(int on);
  int setAppend(int on);
  int setTimestamps(int on);
  int setSourceLines(int on);

  int getLevel() const;
  int getSourceLines() const;

 private:
  /// A value that the environment may fix.
  template <class T>
  struct Setting {
    T value;
    int fromEnvironment = 0;
  };

  void readLevel();
  void readComponents();
  void readFileName();
  /// Sets a switch from "TRUE" or "FALSE".
  static void readSwitch(const char* variable, Setting<int>& setting);
  /// Takes one item of the component list; returns whether the list ends with it.
  bool readComponentItem(std::string_view item, bool& cleared);

  void start();
  void printHeader();
  void printHeaderSwitch(std::string_view label, const Setting<int>& setting);
  void print(std::initializer_list<std::string_view> pieces);
  void note(std::initializer_list<std::string_view> pieces);
  void warn(std::initializer_list<std::string_view> pieces);
  void setAllComponents(int on);
  int switchComponent(int component, int on, std::string_view verb);
  int setSwitch(Setting<int>& setting, int on, std::string_view noteText, std::string_view mode);

  Setting<std::string> fileName{"xrtTrace.log"};
  std::string fileVariable;
  Setting<int> level{XRTTRC_MINIMUM};
  std::string levelVariable;
  Setting<std::array<int, xrt_component::count>> components;
  std::string componentVariable;
  std::FILE* stream = nullptr;
  Setting<int> flush{0};
  Setting<int> append{1};
  Setting<int> timestamps{1};
  Setting<int> sourceLines{0};
  int started = 0;
  mutable std::recursive_mutex lock;
};

/// What is called for a failed assertion in place of the message.
using XRTAssertionHook = void (*)(const char* condition, const char* file, int line);

/// Installs a hook, or none with null, and returns the one before.
XRTAssertionHook xrtSetAssertionHook(XRTAssertionHook hook);

/// Reports a failed assertion to the hook or on standard error and raises the termination exception.
[[noreturn]] void xrtAssertionFailed(const char* condition, const char* file, int line);

#define XRT_ASSERT(condition) \
  (static_cast<bool>(condition) ? static_cast<void>(0) : xrtAssertionFailed(#condition, __FILE__, __LINE__))

#endif  // XRT_TRACE_H
