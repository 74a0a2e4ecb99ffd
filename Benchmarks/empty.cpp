/// The least that a C++ program can do: the floor under every command.
int main() { return 0; }
