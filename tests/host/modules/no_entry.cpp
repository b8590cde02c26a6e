// A library that is no plug-in module.
extern "C" __declspec(dllexport) int SomethingElse()
{
    return 1;
}
