#include "xrt/xrt_trace.h"

#include <cstddef>
#include <cstdlib>
#include <new>
#include <utility>

#include "base/BASE_Termination.h"
#include "xrt/xrt_thread.h"

namespace {

constexpr int refused = -2;

struct LevelNames {
  std::string_view name;
  std::string_view word;  // in the environment variable
};
constexpr std::array<LevelNames, 5> levelNames = {{{"XRTTRC_NONE", "NONE"},
                                                   {"XRTTRC_MINIMUM", "MINIMUM"},
                                                   {"XRTTRC_BASIC", "BASIC"},
                                                   {"XRTTRC_MOST", "MOST"},
                                                   {"XRTTRC_ALL", "ALL"}}};

constexpr std::array<std::string_view, xrt_component::count> componentNames = {
    "UTIL    ", "DACC    ", "PPL     ", "KERNEL  ", "STAT    ", "EVL     ", "CSAPI   ",
    "CLSLIB  ", "RDBCLI  ", "RESULT  ", "GUI     ", "SCORING ", "MODELING"};

constexpr std::size_t headerColumn = 33;

std::string_view enabledWord(int on) { return on != 0 ? "ENABLED" : "DISABLED"; }

std::string_view componentName(int component) {
  if (component == xrt_component::allComponents) return "ALL     ";
  if (component == xrt_component::noComponents) return "NONE    ";
  return componentNames[static_cast<std::size_t>(component)];
}

bool isValidComponent(int component) {
  return component >= xrt_component::allComponents && component < xrt_component::count;
}

/// The value of an environment variable, or null.
const char* variableValue(const std::string& variable) {
  return variable.empty() ? nullptr : std::getenv(variable.c_str());
}

constinit XRTAssertionHook assertionHook = nullptr;

}  // namespace

XRTTrace::XRTTrace(const char* fileVariableName, const char* levelVariableName, const char* componentVariableName,
                   const XRTSwitchVariables& switchVariables)
    : fileVariable(fileVariableName), levelVariable(levelVariableName), componentVariable(componentVariableName) {
  setAllComponents(1);
  readLevel();
  readComponents();
  readFileName();
  readSwitch(switchVariables.append, append);
  readSwitch(switchVariables.flush, flush);
  readSwitch(switchVariables.timestamps, timestamps);
  readSwitch(switchVariables.sourceLines, sourceLines);
}

XRTTrace& XRTTrace::instance() {
  // In static storage: the first trace line may belong to a failed allocation.
  alignas(XRTTrace) static std::byte storage[sizeof(XRTTrace)];
  static XRTTrace* const trace = new (storage) XRTTrace;
  return *trace;
}

void XRTTrace::readLevel() {
  const char* text = variableValue(levelVariable);
  if (text == nullptr) return;
  for (std::size_t i = 0; i < levelNames.size(); ++i) {
    if (levelNames[i].word != text) continue;
    level = {static_cast<int>(i), 1};
    return;
  }
}

void XRTTrace::readComponents() {
  const char* text = variableValue(componentVariable);
  if (text == nullptr) return;
  std::string_view rest = text;
  bool cleared = false;
  for (;;) {
    const std::size_t comma = rest.find(',');
    if (readComponentItem(rest.substr(0, comma), cleared) || comma == std::string_view::npos) return;
    rest.remove_prefix(comma + 1);
  }
}

bool XRTTrace::readComponentItem(std::string_view item, bool& cleared) {
  const bool none = item == "NONE";
  if (none || item == "ALL") {
    setAllComponents(none ? 0 : 1);
    components.fromEnvironment = 1;
    return true;
  }
  for (std::size_t i = 0; i < componentNames.size(); ++i) {
    if (item != componentNames[i]) continue;
    if (!cleared) setAllComponents(0);
    cleared = true;
    components.value[i] = 1;
    components.fromEnvironment = 1;
  }
  return false;
}

void XRTTrace::readFileName() {
  if (const char* text = variableValue(fileVariable)) fileName = {text, 1};
}

void XRTTrace::readSwitch(const char* variable, Setting<int>& setting) {
  const char* text = variableValue(variable);
  if (text == nullptr) return;
  const std::string_view word = text;
  if (word == "TRUE") setting = {1, 1};
  if (word == "FALSE") setting = {0, 1};
}

void XRTTrace::message(int component, std::initializer_list<std::string_view> pieces, int messageLevel) {
  const std::lock_guard guard(lock);
  if (messageLevel < XRTTRC_MINIMUM || messageLevel > XRTTRC_ALL || messageLevel > level.value) return;
  if (!isValidComponent(component)) return;
  if (started == 0) start();
  char thread[16];
  std::snprintf(thread, sizeof thread, "%d", xrtThreadNumber());
  print({"(", componentName(component), ", ", thread, ") "});
  print(pieces);
  print({"\n"});
  if (flush.value != 0) std::fflush(stream);
}

int XRTTrace::setTraceFile(const std::string& name) {
  const std::lock_guard guard(lock);
  if (name == fileName.value) return 0;
  if (fileName.fromEnvironment != 0) {
    warn({"WARNING: Attempted to change name of tracefile ", "to ", name, ", environment variable overrides"});
    return refused;
  }
  if (started != 0) {
    note({"NOTE: Attempting to change name of tracefile ", "to ", name});
    stream = stdout;
    note({"NOTE: Previous tracefile was", fileName.value});
  }
  fileName.value = name;
  return 0;
}

int XRTTrace::setLevel(int newLevel) {
  const std::lock_guard guard(lock);
  if (newLevel < XRTTRC_NONE || newLevel > XRTTRC_ALL) {
    warn({"WARNING: Attempted to set invalid tracelevel ", std::to_string(newLevel)});
    return refused;
  }
  if (level.fromEnvironment != 0) {
    warn({"WARNING: Attempted to change tracelevel, environment variable overrides"});
    return refused;
  }
  level.value = newLevel;
  note({"NOTE: Changed tracelevel to ", levelNames[static_cast<std::size_t>(newLevel)].name});
  return 0;
}

int XRTTrace::enableComponent(int component) { return switchComponent(component, 1, "enable"); }

int XRTTrace::disableComponent(int component) { return switchComponent(component, 0, "disable"); }

int XRTTrace::switchComponent(int component, int on, std::string_view verb) {
  const std::lock_guard guard(lock);
  if (!isValidComponent(component)) {
    warn({"WARNING: Attempted to ", verb, " invalid component ", std::to_string(component)});
    return refused;
  }
  if (components.fromEnvironment != 0) {
    warn({"WARNING: Attempted to change enabled components, environment variable overrides"});
    return refused;
  }
  if (component < 0) {
    // Enabling none is disabling all, and the other way round.
    const int allOn = component == xrt_component::allComponents ? on : 1 - on;
    setAllComponents(allOn);
    note({"NOTE: All Components are now ", enabledWord(allOn)});
    return 0;
  }
  components.value[static_cast<std::size_t>(component)] = on;
  note({"NOTE: Component ", componentName(component), " is now ", enabledWord(on)});
  return 0;
}

int XRTTrace::isComponentEnabled(int component) {
  const std::lock_guard guard(lock);
  if (component >= xrt_component::count) {
    warn({"WARNING: Attempted to get status of invalid component ", std::to_string(component)});
    return 0;
  }
  return component < 0 ? 0 : components.value[static_cast<std::size_t>(component)];
}

int XRTTrace::setFlush(int on) { return setSwitch(flush, on, "Status of flushing changed to ", "flushing mode"); }

int XRTTrace::setAppend(int on) { return setSwitch(append, on, "Append mode was set to ", "append mode"); }

int XRTTrace::setTimestamps(int on) {
  return setSwitch(timestamps, on, "Timestamp printing mode was ", "mode of timestamp printing");
}

int XRTTrace::setSourceLines(int on) {
  return setSwitch(sourceLines, on, "Source line printing mode was ", "mode of sourceline printing");
}

int XRTTrace::setSwitch(Setting<int>& setting, int on, std::string_view noteText, std::string_view mode) {
  const std::lock_guard guard(lock);
  if (setting.fromEnvironment != 0) {
    warn({"WARNING: Attempted to change ", mode, ", environment variable overrides"});
    return refused;
  }
  setting.value = on != 0 ? 1 : 0;
  note({"NOTE: ", noteText, enabledWord(on)});
  return 0;
}

int XRTTrace::getLevel() const {
  const std::lock_guard guard(lock);
  return level.value;
}

int XRTTrace::getSourceLines() const {
  const std::lock_guard guard(lock);
  return sourceLines.value;
}

void XRTTrace::setAllComponents(int on) { components.value.fill(on); }

void XRTTrace::start() {
  started = 1;
  stream = stdout;
  if (level.value != XRTTRC_NONE) printHeader();
}

void XRTTrace::printHeader() {
  const auto origin = [this](int fromEnvironment, std::string_view variable) {
    if (fromEnvironment != 0) print({" (from environment variable ", variable, ")"});
    print({"\n"});
  };
  print({"\n", "/--------------------------- NEW RUN ---------------------------\\", "\n\n"});
  print({"Tracing started on ", "\n\n"});
  print({"Current Settings", "\n", "----------------", "\n"});
  print({"Trace level:                         ", levelNames[static_cast<std::size_t>(level.value)].name});
  origin(level.fromEnvironment, levelVariable);
  print({"Status of tracing for components:    "});
  origin(components.fromEnvironment, componentVariable);
  constexpr std::string_view blanks = "                                 ";
  static_assert(blanks.size() == headerColumn);
  for (std::size_t i = 0; i < componentNames.size(); ++i) {
    print({blanks.substr(componentNames[i].size()), componentNames[i], " is ", enabledWord(components.value[i]), "\n"});
  }
  printHeaderSwitch("Append to file if exists:            ", append);
  printHeaderSwitch("Flush after each call to XRTTRACE(): ", flush);
  printHeaderSwitch("Print sourceline references:         ", sourceLines);
  printHeaderSwitch("Print timestamps:                    ", timestamps);
  print({"Tracing component initialized", "\n"});
}

void XRTTrace::printHeaderSwitch(std::string_view label, const Setting<int>& setting) {
  print({label, enabledWord(setting.value)});
  if (setting.fromEnvironment != 0) print({" (from environment variable )"});
  print({"\n"});
}

void XRTTrace::print(std::initializer_list<std::string_view> pieces) {
  for (const std::string_view piece : pieces) {
    if (!piece.empty()) std::fwrite(piece.data(), 1, piece.size(), stream);  // an empty one may have no data at all
  }
}

void XRTTrace::note(std::initializer_list<std::string_view> pieces) {
  if (started == 0 || level.value < XRTTRC_MINIMUM) return;
  print(pieces);
  print({"\n"});
}

void XRTTrace::warn(std::initializer_list<std::string_view> pieces) {
  if (started == 0) start();
  note(pieces);
}

XRTAssertionHook xrtSetAssertionHook(XRTAssertionHook hook) { return std::exchange(assertionHook, hook); }

void xrtAssertionFailed(const char* condition, const char* file, int line) {
  if (assertionHook != nullptr) {
    assertionHook(condition, file, line);
  } else {
    std::fprintf(stderr, "XRT Assertion failed: %s, file %s, line %d\n", condition, file, line);
  }
  std::fflush(stdout);
  std::fflush(stderr);
  BASE_RaiseTermination();
}
