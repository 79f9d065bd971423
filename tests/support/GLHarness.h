#pragma once

#include <GL/glew.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace VeldaTest {

// A current OpenGL compatibility context on an off-screen surface of the X
// display (Xvfb in the test run), with GLEW initialised. Throws
// std::runtime_error with the reason when that is not possible.
class GLContext {
public:
    explicit GLContext(int width = 64, int height = 64);
    ~GLContext();
    GLContext(const GLContext&) = delete;
    GLContext& operator=(const GLContext&) = delete;

    std::string version() const;
    std::string renderer() const;

private:
    struct Native;
    std::unique_ptr<Native> native_;
};

// Test fixture: every test runs with a current context.
class GLTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    std::unique_ptr<GLContext> context_;
};

} // namespace VeldaTest
