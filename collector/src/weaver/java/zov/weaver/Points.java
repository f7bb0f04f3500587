package zov.weaver;

/** A set of places in the host where something is woven in. Called on all threads that load classes. */
interface Points {
  /**
   * Whether a class may have such places; called for every class that the host loads, so by its name
   * ("java/lang/String") if that can be, and its bytes only if not.
   */
  boolean mayHave(String className, byte[] classFile);

  /** The same of a class that is loaded already. */
  boolean mayHave(Class<?> loaded);

  /**
   * The advice for a method, which has code; null for none. Names are internal ones; interfaces are those
   * that the class itself names.
   */
  Advice advice(String className, String[] interfaces, int access, String method, String descriptor);
}
