#pragma once

#include "render/DayCycle.h"
#include "render/ObjectStateTexture.h"
#include "scene/Matrix4.h"
#include "scene/RenderItem.h"
#include "scene/ReviewState.h"

#include <cstdint>

#include <map>
#include <memory>
#include <string>

namespace Velda {

class BaseProcessor;
class BatchMerger;
class Camera;
class Material;
class SceneRoot;
class ShaderManager;
class ShaderProgram;
class SpotLight;
class Texture2D;
struct FrameContext;

// What the last frame cost, for tests and benchmarks: plain counters that
// cost nothing when nobody reads them.
struct FrameStats {
    uint64_t shadowDraws = 0;   // times the shadow map has been drawn
    uint32_t drawCalls[4] = {}; // draw calls of each pass in the last render
    double passMs[4] = {};      // CPU time of each pass's process in the last render
    double renderMs = 0.0;      // the whole last render
    // Benchmarks set this to wait for the driver after each pass, so that
    // a pass's time holds its drawing and not only its commands.
    bool finishEachPass = false;
};

// The renderer: one process-wide object that owns the passes, the shader
// store, the frame state and every picture setting the sliders change.
// Created empty (no GL); initialize() makes the GL resources. GL thread only.
class Context3d {
public:
    // Where each value of the day cycle stands in timeOfDay()'s 14 floats.
    enum DayValue {
        kSunColor = 0,      // 3 floats
        kShadeColor = 3,    // 3 floats
        kNightMix = 6,
        kGlowColor = 7,     // 3 floats
        kGlowLevel = 10,
        kAmbientLevel = 11,
        kSunLevel = 12,
        kShadowLift = 13,
        kDayValues = 14,
    };
    enum Pass { kShadowPass = 0, kLightingPass, kPostPass, kInteractivePass, kPassCount };

    // Makes the renderer on the first call; later calls return it.
    static Context3d* instance();
    // Deletes it (the hub's destructor does); the next instance() makes a new one.
    static void destroyInstance();

    // Makes the GL resources; needs a current context with GLEW set up.
    void initialize(void* unused = nullptr);
    bool initialized() const { return frameContext != nullptr; }

    static constexpr double kJobBudgetMs = 10.0;  // at least, a begin

    // targetTexture -1: the frame goes to frameBuffer itself. Hands
    // finished jobs to their completion (see `faithful`).
    void begin(Camera* camera, int targetTexture, int frameBuffer);
    void render(SceneRoot* scene, bool clear, bool lighting, bool shadow, bool interactive);
    void end();

    // Recomputes the day cycle from timeAngle; returns its 14 floats.
    const float* timeOfDay();
    // A textured rectangle in view pixels, y downward.
    void flatTex(int texture, float x, float y, float w, float h, Matrix4 world);
    // One line in world space; a debugging aid.
    void renderLine(float x0, float y0, float z0, float x1, float y1, float z1, float r, float g, float b);
    void useProgram(ShaderProgram* program);

    // The sliders of the setting panel, v being the slider's integer.
    // Level 0 of the shadow quality keeps the size of level 2 and switches
    // the sun's shadow off.
    void setShadowQuality(int level, SpotLight* sun);
    void setShadowShade(int v) { shadowShade = static_cast<float>(v) / 100.0f; }
    void setBloomCoefficient(int v) { bloomCoefficient = static_cast<float>(v) / 100.0f; }
    void setSSAOLevel(int v);

    // Splits collected items into the opaque and the blended (back to front)
    // lists, fills light lists and flags. Public for the tests.
    void buildLists(const RenderList& meshes, const RenderList& sky, RenderList& opaque, RenderList& blended);
    // What a frame of the scene draws, sky included: merges what arrived,
    // collects every drawable's items (batches for merged objects), leaves
    // out hidden objects, switches the review tools' variant and builds the
    // two lists. The id pass draws the same.
    void collectItems(SceneRoot* scene, RenderList& opaque, RenderList& blended);

    Texture2D* placeholderTexture = nullptr;
    Material* defaultMaterial = nullptr;
    FrameContext* frameContext = nullptr;
    ShaderManager* shaderManager = nullptr;
    BaseProcessor* processors[kPassCount] = {};
    int frameBuffer = 0;
    SceneRoot* scene = nullptr;
    bool whiteModel = false;
    bool variantsDirty = false;
    int viewportWidth = 0;
    int viewportHeight = 0;
    unsigned int shadowWidth = 2048;
    unsigned int shadowHeight = 2048;
    int shadowBaseWidth = 2048;
    int shadowBaseHeight = 2048;
    float dialMarginX = 20.0f;
    float dialMarginY = 16.0f;
    float timeAngle = 2.356194f;
    float azimuthAngle = 5.497787f;
    bool outerDialHot = false;
    bool innerDialHot = false;
    DayCycle day;
    float dayCycle[kDayValues] = {};
    bool nightMode = false;
    bool constantLight = false;
    float shadowShade = 0.45f;
    float bloomCoefficient = 0.21f;
    float ssaoPower = 1.0f;
    float ssaoKernelSize = 32.0f;
    // The specified path: one finished job per begin, every item through
    // every pass. Off, begin hands over jobs for about 10 ms and items
    // outside the view (or, for shadows, the light's) are skipped.
    bool faithful = false;
    // Below 1 while the camera moves: the lit pass and the post chain run
    // at this fraction of the view's size and the result is stretched.
    float frameScale = 1.0f;
    // The only way one pass hands a picture to the next; an unknown name
    // reads as texture 0.
    std::map<std::string, unsigned int> namedTextures;
    FrameStats stats;
    // The review tools' selection, hidden objects and section box; every
    // pass honours them.
    ReviewState review;
    // The review state as the shaders read it, current after collectItems().
    const ObjectStateTexture& objectStates() const { return objectStates_; }
    // On the fast path, bakes the objects that became drawable into merged
    // batches and drops the sources seen; render() does it too. A loop that
    // hands jobs over without drawing calls it to keep its memory low.
    void mergeArrived(SceneRoot* scene);
    // Merged batches and pieces drawn on the fast path (0 on the specified one).
    size_t batchCount() const;

private:
    Context3d() = default;
    ~Context3d();
    Context3d(const Context3d&) = delete;
    Context3d& operator=(const Context3d&) = delete;

    void attachTarget(int targetTexture);
    // The pass that draws slot i this frame: the reduced lit and post
    // passes while a reduced frame is under way, else the full ones.
    BaseProcessor* pass(int i) const;
    // Makes (once) and sizes the reduced lit and post passes.
    void prepareReducedPasses();

    // Marks the items for the review tools' variant and leaves out those of
    // hidden objects.
    void applyReview(RenderList& meshes);

    ObjectStateTexture objectStates_;
    BaseProcessor* reduced_[kPassCount] = {};
    std::unique_ptr<BatchMerger> merger_;
    const SceneRoot* mergedScene_ = nullptr;
    bool reducedFrame_ = false;
    // The items the camera can see, in their order.
    void selectForView(const RenderList& opaque, const RenderList& blended, RenderList& viewOpaque,
                       RenderList& viewBlended) const;
};

} // namespace Velda
