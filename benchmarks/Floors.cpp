#include "Floors.h"

bool Floors::Execute(void* floor) { return floor != nullptr && static_cast<Floor*>(floor)->Execute(); }
