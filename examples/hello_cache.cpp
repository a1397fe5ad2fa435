// A host in thirty lines: it keeps a text in the user's cache and reads it back.
#include <cstdio>
#include <cstring>

#include "host/Application.h"
#include "kfw/IFileSystemCache.h"
#include "kfw/classes.h"
#include "kom/identity.h"
#include "kom/runtime.h"

using namespace vel::kos;

int main(int pCount, char** pArguments)
{
    host::ApplicationOptions tOptions;
    tOptions.name = "hello";
    kom::Ref<host::Application> tApp;
    uint32_t tRes = host::Application::create(tOptions, tApp);
    if (!KFAILED(tRes) && pCount > 1) tRes = komRegisterModule(pArguments[1]); // once per user would do
    kom::Ref<fw::IFileSystemCache> tCache;
    if (!KFAILED(tRes)) tRes = kom::createInstance(fw::CLASS_FILE_SYSTEM_CACHE, tCache);
    if (!KFAILED(tRes)) tRes = tCache->init(tApp.get());

    fw::CacheAttrList tAttributes;
    tAttributes.add("language", "en");
    fw::CacheBytes tData, tBack;
    tData.mData = reinterpret_cast<uint8_t*>(komStrDup("Hello, cache!"));
    tData.mSize = 13;
    if (!KFAILED(tRes)) tRes = tCache->putObject("http://example.org/hello?any=query", &tAttributes, &tData);
    if (!KFAILED(tRes)) tRes = tCache->getObject("http://example.org/hello", &tAttributes, &tBack);
    if (KFAILED(tRes)) return std::fprintf(stderr, "hello: %s\n", komStrError(tRes)), 1;
    std::printf("%.*s\n", static_cast<int>(tBack.mSize), reinterpret_cast<const char*>(tBack.mData));
    return tApp->close();
}
