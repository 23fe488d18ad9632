// A library the consumer links but never calls: an as-needed link leaves it out.
int VxInstallTestUnused() {
    return 0;
}
