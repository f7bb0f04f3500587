#!/bin/sh
# Stops Debian's tomcat10 by its unit; README says how the server's user comes by the right to.
exec systemctl --no-ask-password stop tomcat10.service
