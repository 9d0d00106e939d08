// Linked with one layer and what that layer declares to stand below it: the link fails when the layer calls anything
// else.
int main() {}
