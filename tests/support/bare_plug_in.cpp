// A library that loads and exports nothing of a security plug-in.
extern "C" __declspec(dllexport) int Unrelated();
int Unrelated() { return 0; }
