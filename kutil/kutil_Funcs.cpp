#include "kutil/Funcs.h"

#include "kom/ref.h"

namespace vel::kos::util {

namespace {

using Test = uint32_t (fw::IApplication5::*)(const char*, bool*);

bool ask(fw::IApplication* pApp, const char* pName, Test pTest)
{
    kom::Ref<fw::IApplication5> tApp5;
    if (!pApp || KFAILED(kom::queryInterface(pApp, tApp5)) || !tApp5) return false;
    bool tAnswer = false;
    return !KFAILED((tApp5.get()->*pTest)(pName, &tAnswer)) && tAnswer;
}

} // namespace

bool Funcs::isPropertyFalse(fw::IApplication* pApp, const char* pName)
{
    return ask(pApp, pName, &fw::IApplication5::isPropertyFalse);
}

bool Funcs::isPropertyTrue(fw::IApplication* pApp, const char* pName)
{
    return ask(pApp, pName, &fw::IApplication5::isPropertyTrue);
}

} // namespace vel::kos::util
