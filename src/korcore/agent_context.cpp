#include "korcore/agent_context.h"

#include "kor/mutex.h"

namespace {

struct Context {
  KorMutex mutex;
  KorString configDir KOR_GUARDED_BY(mutex);
  KorString dataDir KOR_GUARDED_BY(mutex);
  KorDebugContext* debugContext KOR_GUARDED_BY(mutex) = nullptr;
};

Context& TheContext() {
  static Context context;
  return context;
}

}  // namespace

void KorAgentSetConfigDir(const KorString& path) {
  Context& context = TheContext();
  KorMutexLock lock(context.mutex);
  context.configDir = path;
}

void KorAgentSetDataDir(const KorString& path) {
  Context& context = TheContext();
  KorMutexLock lock(context.mutex);
  context.dataDir = path;
}

void KorAgentSetDebugContext(KorDebugContext* debugContext) {
  Context& context = TheContext();
  KorMutexLock lock(context.mutex);
  context.debugContext = debugContext;
  KorFrameworkLog().SetContext(debugContext);
}

void KorAgentGetConfigDir(KorString& out) {
  Context& context = TheContext();
  KorMutexLock lock(context.mutex);
  out = context.configDir;
}

void KorAgentGetDataDir(KorString& out) {
  Context& context = TheContext();
  KorMutexLock lock(context.mutex);
  out = context.dataDir;
}

KorDebugContext* KorAgentGetDebugContext() {
  Context& context = TheContext();
  KorMutexLock lock(context.mutex);
  return context.debugContext;
}
