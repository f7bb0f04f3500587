package zov.collector;

import com.sun.tools.attach.AgentInitializationException;
import com.sun.tools.attach.AgentLoadException;
import com.sun.tools.attach.AttachNotSupportedException;
import com.sun.tools.attach.VirtualMachine;
import java.io.File;
import java.io.IOException;

/**
 * {@code java -jar zov-collector.jar attach PID OPTIONS}: puts the collector into a JVM that already runs.
 * Ends with 0 when it runs there, 1 when it does not, 2 for wrong arguments.
 */
public final class Main {
  private static final String USAGE =
      "Usage: java -jar zov-collector.jar attach PID name=SERVER[,OPTION=VALUE...]   (as the user of that JVM, or root)";

  private Main() {}

  public static void main(String[] arguments) {
    if (arguments.length != 3 || !arguments[0].equals("attach") || !arguments[1].matches("[0-9]+")) {
      System.err.println(USAGE);
      System.exit(2);
    }
    try {
      Options.parse(arguments[2]);
    } catch (IllegalArgumentException wrong) {
      System.err.println("Nothing is attached: " + wrong.getMessage());
      System.exit(2);
    }
    System.exit(attach(arguments[1], arguments[2]) ? 0 : 1);
  }

  private static boolean attach(String pid, String options) {
    try {
      return new Attachment().attach(pid, options);
    } catch (NoClassDefFoundError noAttachModule) {
      System.err.println("Nothing is attached: the Java at " + System.getProperty("java.home")
          + " has no module jdk.attach. Use the java of a JDK (Debian's package is default-jdk-headless); the JVM "
          + "that is attached to needs none.");
    } catch (Exception failure) {
      System.err.println("Nothing is attached to process " + pid + ": " + failure.getMessage()
          + ". The process must be a JVM, and who attaches must be its user or root.");
    }
    return false;
  }

  /** Apart, since not every Java has the classes that it uses. */
  private static final class Attachment {
    boolean attach(String pid, String options) throws AttachNotSupportedException, IOException,
                                                      AgentLoadException, AgentInitializationException,
                                                      java.net.URISyntaxException {
      File jar = new File(Main.class.getProtectionDomain().getCodeSource().getLocation().toURI());
      VirtualMachine machine = VirtualMachine.attach(pid);
      try {
        String before = machine.getSystemProperties().getProperty(Agent.LOG_PROPERTY);
        if (before != null) {
          System.err.println("A collector runs in process " + pid + " already; its log is " + before);
          return false;
        }
        machine.loadAgent(jar.getPath(), options);
        String log = machine.getSystemProperties().getProperty(Agent.LOG_PROPERTY);
        if (log == null) {
          System.err.println("The collector does not start in process " + pid
              + "; that process says why on its standard error");
          return false;
        }
        System.out.println("The collector runs in process " + pid + "; its log is " + log);
        return true;
      } finally {
        machine.detach();
      }
    }
  }
}
