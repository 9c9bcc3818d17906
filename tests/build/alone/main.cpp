// One folder of the tree with all below it, linked.
int main() {
    return 0;
}
