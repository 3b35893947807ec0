// Test entry point: every test program runs on a fresh temporary prefix, so no test touches the
// user's real state, and debug output goes nowhere unless a test captures it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <unistd.h>

namespace {

class TempPrefixEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        std::string templ = (std::filesystem::temp_directory_path() / "bvtest-XXXXXX").string();
        if (mkdtemp(templ.data()) == nullptr) {
            std::perror("mkdtemp");
            std::abort();
        }
        m_dir = templ;
        setenv("BV_PREFIX", (m_dir + "/prefix").c_str(), 1);
        setenv("XDG_RUNTIME_DIR", m_dir.c_str(), 1);
        unsetenv("BV_DEBUG_OUTPUT");
    }
    void TearDown() override {
        std::error_code ec;
        std::filesystem::remove_all(m_dir, ec);
    }

private:
    std::string m_dir; // the temporary directory that holds this program's prefix
};

} // namespace

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new TempPrefixEnvironment);
    return RUN_ALL_TESTS();
}
