/* A program that does nothing: whatever a command costs beyond it is the command's own. */
int main(void) { return 0; }
