#include "kor/trace.h"

std::atomic<KorTrace*> KorTrace::current = nullptr;
