// A library that a module needs.
extern "C" __declspec(dllexport) int HelperNumber()
{
    return 42;
}
