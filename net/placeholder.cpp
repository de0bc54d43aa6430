// Keeps the target alive until its first source lands.
