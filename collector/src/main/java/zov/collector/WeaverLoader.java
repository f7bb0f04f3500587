package zov.collector;

import java.io.IOException;
import java.io.InputStream;
import java.util.HashMap;
import java.util.Map;
import java.util.jar.JarEntry;
import java.util.jar.JarInputStream;

/**
 * The loader of the weaver and its library, which nothing but the JDK is visible to, with the collector's
 * rights.
 */
final class WeaverLoader extends ClassLoader {
  private static final String SUFFIX = ".class";

  private final Map<String, byte[]> classFiles = new HashMap<>();

  WeaverLoader(InputStream jar) throws IOException {
    super(getPlatformClassLoader());
    JarInputStream in = new JarInputStream(jar);
    for (JarEntry entry = in.getNextJarEntry(); entry != null; entry = in.getNextJarEntry()) {
      String name = entry.getName();
      if (name.endsWith(SUFFIX))
        classFiles.put(
            name.substring(0, name.length() - SUFFIX.length()).replace('/', '.'), in.readAllBytes());
    }
  }

  @Override
  protected Class<?> findClass(String name) throws ClassNotFoundException {
    byte[] classFile = classFiles.get(name);
    if (classFile == null)
      throw new ClassNotFoundException(name);
    return defineClass(name, classFile, 0, classFile.length, WeaverLoader.class.getProtectionDomain());
  }
}
