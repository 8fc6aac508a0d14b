#include "vantor.h"

#include "core_live/videothrmux/devlivethrsetmanager.h"

bool Vantor::init() { return DevLiveThrSetManager::Instance()->start(); }

void Vantor::release() { DevLiveThrSetManager::Instance()->stop(); }
