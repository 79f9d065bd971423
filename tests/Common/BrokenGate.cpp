// A sign module with one export only: ready, and nothing else.
extern "C" __attribute__((visibility("default"))) unsigned char QemRunModuleReady()
{
    return 1;
}
