#include "process.hpp"
#include <slrealtime/Standalone.hpp>
#include <slrealtime/Worker.hpp>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

namespace {

using qm::test::StreamCapture;
using slrealtime::standalone::createWorker;
using slrealtime::standalone::workerNames;
using testing::IsEmpty;
using testing::IsSupersetOf;

TEST(LibraryLoadedByHand, RegistersItsServicesSilentlyAndKeepsThemAfterUnloading)
{
    ASSERT_THAT(workerNames(), IsEmpty()) << "this program is linked with the library, or another one";
    StreamCapture out(1);
    StreamCapture err(2);
    void* const library = dlopen(QM_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, library) << dlerror();
    EXPECT_THAT(workerNames(), IsSupersetOf({"QuillmarkSyncService", "QuillmarkService"}));
    EXPECT_EQ(0, dlclose(library));

    const std::unique_ptr<slrealtime::Worker> service = createWorker("QuillmarkService");
    ASSERT_NE(nullptr, service);
    service->initialize();
    EXPECT_EQ("", out.text());
    EXPECT_EQ("", err.text());
}

}  // namespace
