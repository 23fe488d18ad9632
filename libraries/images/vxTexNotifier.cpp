// Texture notifiers.
