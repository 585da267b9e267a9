#include "recording_object.h"

#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENTestRecorder);
QUVEN_REGISTER(QUVENTestDerivedRecorder);

std::vector<std::string> QUVENTestRecorder::cvRecord;
const QUVENEnv* QUVENTestRecorder::cvEnvironment = nullptr;
const QUVENOwnPtrBase* QUVENTestRecorder::cvPointer = nullptr;
int QUVENTestRecorder::cvAlive = 0;

QUVENTestRecorder::QUVENTestRecorder(int objectNumber) : number(objectNumber) {
  note("constructor");
  ++cvAlive;
}

QUVENTestRecorder::~QUVENTestRecorder() {
  note("destructor");
  --cvAlive;
}

std::uint32_t QUVENTestRecorder::sizeOf() const {
  note("sizeOf");
  return bytes;
}

void QUVENTestRecorder::destroyPrimitive(const QUVENEnvHandle& env) {
  Members::destroyPrimitive(QUVEN_ENV);
  note("destroyPrimitive");
  if (throwsWhenDestroyed) throw 0;  // as the library exception does
}

void QUVENTestRecorder::note(const char* call) const {
  if (cvEnvironment == nullptr) return;
  std::string line = std::to_string(number) + ' ' + call + ' ' + std::to_string(cvEnvironment->getBytesInUse());
  if (cvPointer != nullptr && *cvPointer) line += " held";
  cvRecord.push_back(std::move(line));
}

void RecordedEnvironment::SetUp() {
  quvenDebugWords = QUVENDebugWords();
  environment.activate();
  Recorder::cvRecord.clear();
  Recorder::cvEnvironment = env;
}

void RecordedEnvironment::TearDown() {
  EXPECT_EQ(inUse(), 0);
  EXPECT_EQ(Recorder::cvAlive, 0);
  Recorder::cvEnvironment = nullptr;
  Recorder::cvPointer = nullptr;
  quvenDebugWords = QUVENDebugWords();
}
