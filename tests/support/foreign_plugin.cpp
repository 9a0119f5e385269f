// A plug-in of an ABI that is not this host's.
extern "C" int Get_Driver_ABI_Version() {
  return 2;
}
extern "C" int Create_Driver(void*) {
  return -1;
}
