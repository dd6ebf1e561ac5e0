// So that the parent has a library.
int parent() { return 1; }
