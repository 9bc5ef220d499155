#include "FrameworkTest.h"
#include "tests/support/TempDirectory.h"

#include <cppmicroservices/BundleEvent.h>

#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <vector>

using namespace cppmicroservices;
using namespace test;
using zelkor::test::contentOf;
namespace fs = std::filesystem;

namespace {

void WriteFile(const fs::path& path, const std::string& bytes) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
}

/// A directory for bundle files of one's own.
class BundleFile : public FrameworkTest {
protected:
    /// The bytes of an archive of these files.
    std::string Zip(const std::vector<std::pair<std::string, std::string>>& files) {
        const auto tree = directory / "tree", zip = directory / "x.zip";
        fs::remove_all(tree);
        for (const auto& [name, text] : files)
            WriteFile(tree / name, text);
        const std::string command =
            "cd " + tree.string() + " && " CMAKE_COMMAND " -E tar cf " + zip.string() + " --format=zip -- *";
        EXPECT_EQ(std::system(command.c_str()), 0);
        return contentOf(zip);
    }
    std::string Write(const std::string& bytes) {
        const auto path = directory / ("bundle" + std::to_string(++files_) + ".so");
        WriteFile(path, bytes);
        return path.string();
    }
    /// What the installation of such a file says is wrong.
    std::string Fault(const std::string& bytes) {
        try {
            context.InstallBundles(Write(bytes));
            return {};
        } catch (const std::exception& error) {
            return error.what();
        }
    }

    zelkor::test::TempDirectory directory;

private:
    int files_ = 0;
};

const std::string kManifest = R"({"bundle.symbolic_name": "other", "n": 7, "d": 1.0, "b": true,
    "list": [1, "x"], "nested": {"a": "b"}})";

TEST_F(BundleFile, IsInstalledFromASectionAndLoadedOnlyWhenNeeded) {
    const auto loaded = [] { return dlopen(COMPONENT_BUNDLE_PATH, RTLD_NOW | RTLD_NOLOAD) != nullptr; };
    const bool before = loaded(); // by another case in this process
    auto bundles = context.InstallBundles(COMPONENT_BUNDLE_PATH);
    ASSERT_EQ(bundles.size(), 1u);
    auto& bundle = bundles[0];
    bundle.Start();
    auto ofBundle = bundle.GetBundleContext();
    EXPECT_EQ(ofBundle.GetBundle(), bundle);
    EXPECT_EQ(loaded(), before) << "loaded too early";

    auto registration = ofBundle.RegisterService<Greeter>(std::make_shared<GreeterImpl>());
    const auto held = context.GetService(registration.GetReference());
    bundle.Stop();
    EXPECT_FALSE(context.GetServiceReference<Greeter>()) << "its services go with its stop";
    EXPECT_EQ(held->Greet(), "hello") << "what is held stays";
    EXPECT_FALSE(ofBundle);
}

TEST_F(BundleFile, MayHaveItsArchiveAppendedOrBeAnArchive) {
    const auto zip = Zip({{"other/manifest.json", kManifest}, {"other/text.txt", "more"}});
    auto bundle = context.InstallBundles(Write(contentOf("/proc/self/exe").substr(0, 5000) + zip)).at(0);
    const auto headers = bundle.GetHeaders();
    EXPECT_EQ(any_cast<int>(headers.at("n")), 7);
    EXPECT_EQ(any_cast<double>(headers.at("d")), 1.0);
    EXPECT_TRUE(any_cast<bool>(headers.at("b")));
    EXPECT_EQ(any_cast<std::string>(any_cast<std::vector<Any>>(headers.at("list")).at(1)), "x");
    EXPECT_EQ(any_cast<std::string>(headers.AtCompoundKey("nested.a")), "b");
    bundle.Uninstall();
    EXPECT_EQ(context.InstallBundles(Write(zip)).at(0).GetSymbolicName(), "other");
}

TEST_F(BundleFile, IsRefusedWhenItIsNotLaidOutAsABundle) {
    EXPECT_THROW(context.InstallBundles((directory / "none.so").string()), std::runtime_error);
    EXPECT_NE(Fault(""), "");
    EXPECT_NE(Fault("no archive"), "");
    EXPECT_NE(Fault(Zip({{"manifest.json", kManifest}})), "") << "a manifest at the root";
    EXPECT_NE(Fault(Zip({{"other/manifest.json", kManifest}, {"more/file", "x"}})), "")
        << "a directory without";
    EXPECT_NE(Fault(Zip({{"other/manifest.json", "{\"bundle.symbolic_name\": \"other\","}})), "");
    EXPECT_EQ(context.GetBundles().size(), 1u) << "nothing is left of them";
    context.InstallBundles(COMPONENT_BUNDLE_PATH);
    const auto copy = Write(contentOf(COMPONENT_BUNDLE_PATH));
    EXPECT_THROW(context.InstallBundles(copy), std::runtime_error) << "the name is taken";
}

TEST_F(BundleFile, FaultsAreNamedWithTheFile) {
    EMBEDDED_ONLY();
    const auto says = [&](const std::string& bytes, const std::string& text) {
        const auto fault = Fault(bytes);
        EXPECT_NE(fault.find(text), std::string::npos) << fault;
        EXPECT_NE(fault.find(directory.path().string()), std::string::npos) << fault;
    };
    says("no archive", "neither an ELF section .us_resources nor an appended zip");
    says(Zip({{"manifest.json", kManifest}}), "'manifest.json' stands at the root");
    says(Zip({{"more/file", "x"}}), "'more/manifest.json' is missing");
    says(Zip({{"other/manifest.json", "{\"bundle.symbolic_name\":\n \"other\","}}), "line 2");
    says(Zip({{"other/manifest.json", "[]"}}), "must be a JSON object");
    says(Zip({{"other/manifest.json", "{}"}}), "set it to 'other'");
    says(Zip({{"x/manifest.json", kManifest}}), "it must be 'x'");
    const auto zip = Zip({{"other/manifest.json", kManifest}});
    for (std::size_t i = 0; i < zip.size(); ++i) { // whatever is damaged, an error or a bundle, no crash
        auto damaged = zip;
        damaged[i] = static_cast<char>(damaged[i] ^ 0xff);
        if (Fault(damaged).empty())
            context.GetBundles().back().Uninstall();
    }
}

TEST_F(BundleFile, StartAndStopByTheThreadThatIsAtItFail) {
    EMBEDDED_ONLY();
    auto bundle = context.InstallBundles(COMPONENT_BUNDLE_PATH).at(0);
    int refused = 0;
    context.AddBundleListener([&](const BundleEvent& event) {
        if (event.GetBundle() != bundle)
            return;
        if (event.GetType() == BundleEvent::BUNDLE_STARTED) {
            EXPECT_THROW(bundle.Stop(), std::runtime_error);
            ++refused;
        } else if (event.GetType() == BundleEvent::BUNDLE_STOPPING) {
            bundle.Stop(); // it is at it
            EXPECT_THROW(bundle.Start(), std::runtime_error);
            ++refused;
        }
    });
    bundle.Start();
    StopFramework();
    EXPECT_EQ(refused, 2);
    EXPECT_THROW(bundle.Start(), std::exception);
}

} // namespace
