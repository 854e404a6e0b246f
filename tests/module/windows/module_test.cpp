#include "host/aeffect.h"
#include "workbench/services/host.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <windows.h>

namespace tonvale {
namespace {

/// The module as a host loads it; it lies beside this program.
class Module : public testing::Test {
  protected:
    void TearDown() override { EXPECT_TRUE(FreeLibrary(module)); }

    template <class Part>
    const Part *at(size_t offset) const {
        return reinterpret_cast<const Part *>(reinterpret_cast<const char *>(module) + offset);
    }
    template <class Part>
    const Part *directory(int which) const {
        const auto *headers =
            at<IMAGE_NT_HEADERS>(static_cast<size_t>(at<IMAGE_DOS_HEADER>(0)->e_lfanew));
        return at<Part>(headers->OptionalHeader.DataDirectory[which].VirtualAddress);
    }

    HMODULE module = LoadLibraryW(L"tonvale.dll");
};

TEST_F(Module, ExportsItsEntryAloneAndImportsFromTheSystemAlone) {
    ASSERT_TRUE(module);
    const auto *exports = directory<IMAGE_EXPORT_DIRECTORY>(IMAGE_DIRECTORY_ENTRY_EXPORT);
    EXPECT_EQ(exports->NumberOfFunctions, 1u);
    ASSERT_EQ(exports->NumberOfNames, 1u);
    EXPECT_STREQ(at<char>(*at<DWORD>(exports->AddressOfNames)), "VSTPluginMain");

    const std::set<std::string> system = {"advapi32.dll", "comctl32.dll", "comdlg32.dll",
                                          "gdi32.dll",    "kernel32.dll", "msvcrt.dll",
                                          "shell32.dll",  "user32.dll"};
    const auto *import = directory<IMAGE_IMPORT_DESCRIPTOR>(IMAGE_DIRECTORY_ENTRY_IMPORT);
    for (; import->Name; ++import) {
        std::string name = at<char>(import->Name);
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        EXPECT_TRUE(system.contains(name)) << name;
    }
}

TEST_F(Module, TellsTheVersionOfItsEffect) {
    ASSERT_TRUE(module);
    const auto entry = reinterpret_cast<AEffect *(*)(HostCallback)>(
        reinterpret_cast<void *>(GetProcAddress(module, "VSTPluginMain")));
    ASSERT_TRUE(entry);
    AEffect *effect = entry(workbench::hostCallback);
    ASSERT_TRUE(effect);

    const HRSRC resource = FindResourceW(module, MAKEINTRESOURCEW(VS_VERSION_INFO),
                                         reinterpret_cast<LPCWSTR>(RT_VERSION));
    ASSERT_TRUE(resource);
    const auto *words = static_cast<const WORD *>(LockResource(LoadResource(module, resource)));
    const auto *fixed = reinterpret_cast<const VS_FIXEDFILEINFO *>(words + 20);
    ASSERT_EQ(fixed->dwSignature, 0xFEEF04BDu);
    EXPECT_EQ(HIWORD(fixed->dwFileVersionMS) * 1000 + LOWORD(fixed->dwFileVersionMS) * 100,
              effect->version);
    effect->dispatcher(effect, effClose, 0, 0, nullptr, 0.0f);
}

} // namespace
} // namespace tonvale
