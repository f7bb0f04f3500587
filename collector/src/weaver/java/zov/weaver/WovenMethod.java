package zov.weaver;

import java.util.Arrays;
import org.objectweb.asm.Label;
import org.objectweb.asm.MethodVisitor;
import org.objectweb.asm.Opcodes;
import org.objectweb.asm.Type;
import org.objectweb.asm.commons.AdviceAdapter;
import org.objectweb.asm.commons.Method;

/**
 * Writes a method with its advice around it: inline, with a local variable for the token and one handler that
 * passes on whatever it catches, so that no method or field is added to the class.
 */
final class WovenMethod extends AdviceAdapter {
  private static final Type HOOKS = Type.getObjectType(Weaver.HOOKS.replace('.', '/'));
  private static final Type OBJECT = Type.getType(Object.class);
  private static final Type THROWABLE = Type.getType(Throwable.class);
  /** Class files since this version have frames. */
  private static final int FIRST_WITH_FRAMES = Opcodes.V1_6;

  private final Advice advice;
  private final MethodVisitor plain;
  private final boolean framed;
  private final int argumentSlots;
  private final Label start = new Label();
  private int token;

  WovenMethod(
      Advice advice, MethodVisitor plain, int classVersion, int access, String name, String descriptor) {
    super(Weaver.API, plain, access, name, descriptor);
    this.advice = advice;
    this.plain = plain;
    framed = (classVersion & 0xffff) >= FIRST_WITH_FRAMES;
    argumentSlots = (Type.getArgumentsAndReturnSizes(descriptor) >> 2) - ((access & ACC_STATIC) != 0 ? 1 : 0);
  }

  @Override
  protected void onMethodEnter() {
    if (advice.hasKind())
      push(advice.kind);
    load(advice.first);
    load(advice.second);
    Type[] given =
        advice.hasKind() ? new Type[] {Type.INT_TYPE, OBJECT, OBJECT} : new Type[] {OBJECT, OBJECT};
    invokeStatic(HOOKS, new Method(advice.begin, OBJECT, given));
    token = newLocal(OBJECT);
    storeLocal(token);
    mark(start);
  }

  private void load(int argument) {
    if (argument == Advice.NONE)
      push((String) null);
    else if (argument == Advice.THIS)
      loadThis();
    else
      loadArg(argument);
  }

  @Override
  protected void onMethodExit(int opcode) {
    if (opcode == ATHROW) // what is thrown comes to the handler
      return;
    if (opcode == ARETURN)
      dup();
    else
      push((String) null);
    loadLocal(token);
    swap();
    push((String) null);
    end();
  }

  private void end() {
    invokeStatic(HOOKS, new Method(advice.end, Type.VOID_TYPE, new Type[] {OBJECT, OBJECT, THROWABLE}));
  }

  /** The handler is the last one, so that the method's own come first. */
  @Override
  public void visitMaxs(int maxStack, int maxLocals) {
    Label handler = new Label();
    visitTryCatchBlock(start, handler, handler, null);
    plain.visitLabel(handler);
    if (framed)
      visitHandlerFrame();
    plain.visitInsn(DUP);
    plain.visitVarInsn(ALOAD, token);
    plain.visitInsn(SWAP);
    plain.visitInsn(ACONST_NULL);
    plain.visitInsn(SWAP);
    plain.visitMethodInsn(INVOKESTATIC, HOOKS.getInternalName(), advice.end,
        "(Ljava/lang/Object;Ljava/lang/Object;Ljava/lang/Throwable;)V", false);
    plain.visitInsn(ATHROW);
    super.visitMaxs(maxStack, maxLocals);
  }

  /** Nothing is said of the arguments, since the method may have put anything in their place. */
  private void visitHandlerFrame() {
    Object[] locals = new Object[argumentSlots + 1];
    Arrays.fill(locals, TOP);
    locals[argumentSlots] = OBJECT.getInternalName();
    plain.visitFrame(F_NEW, locals.length, locals, 1, new Object[] {THROWABLE.getInternalName()});
  }
}
