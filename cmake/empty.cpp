// Keeps the archive well formed when a checkout has no rooms yet.
